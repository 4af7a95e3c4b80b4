#pragma once

#include "bridge/containers/Tensor.h"

namespace GTU {

/// Lets the host see the progress of a long call, and stop it. The progress is one real number in a tensor that host
/// and library share; it is not clamped. Every change also checks whether the host wants to abort.
/// @throws GantryError  Aborted, by every function that changes a value, after the change
class ProgressMonitor {
  public:
    ProgressMonitor(Tensor<double, Passing::Shared> indicator, double stepSize)
        : sharedIndicator(std::move(indicator)), step(stepSize) {}

    double get() const { return sharedIndicator.at(0); }
    double getStep() const { return step; }
    void setStep(double stepSize) {
        step = stepSize;
        checkAbort();
    }
    void set(double progress) {
        sharedIndicator.at(0) = progress;
        checkAbort();
    }

    ProgressMonitor& operator+=(double progress) {
        set(get() + progress);
        return *this;
    }
    ProgressMonitor& operator-=(double progress) { return *this += -progress; }
    ProgressMonitor& operator++() { return *this += step; }
    ProgressMonitor& operator--() { return *this += -step; }

    static void checkAbort() {
        if (LibraryData::API()->AbortQ() != 0) {
            ErrorManager::throwException(ErrorName::Aborted);
        }
    }

  private:
    Tensor<double, Passing::Shared> sharedIndicator;
    double step; ///< added by ++, subtracted by --
};

} // namespace GTU
