#pragma once

#include "bridge/containers/Tensor.h"

namespace GTU {

/// Lets the host see how far a long call has come, and stop it: one real number that both see. Every change is also
/// a point at which a wish to abort is noticed. The value is not clamped.
/// @throws GantryError  Aborted, out of everything but the plain readers, after the value has been stored
class ProgressMonitor {
  public:
    ProgressMonitor(Tensor<double, Passing::Shared> indicator, double stepSize)
        : sharedIndicator(std::move(indicator)), step(stepSize) {}

    double get() const { return sharedIndicator.at(0); }
    double getStep() const { return step; }
    void setStep(double stepSize);
    void set(double progress);

    ProgressMonitor& operator+=(double progress);
    ProgressMonitor& operator-=(double progress);
    ProgressMonitor& operator++();
    ProgressMonitor& operator--();

    static void checkAbort();

  private:
    Tensor<double, Passing::Shared> sharedIndicator;
    double step; ///< what ++ adds and -- takes
};

} // namespace GTU
