#include "bridge/ProgressMonitor.h"

namespace GTU {

void ProgressMonitor::setStep(double stepSize) {
    step = stepSize;
    checkAbort();
}

void ProgressMonitor::set(double progress) {
    sharedIndicator.at(0) = progress;
    checkAbort();
}

ProgressMonitor& ProgressMonitor::operator+=(double progress) {
    set(get() + progress);
    return *this;
}

ProgressMonitor& ProgressMonitor::operator-=(double progress) { return *this += -progress; }

ProgressMonitor& ProgressMonitor::operator++() { return *this += step; }

ProgressMonitor& ProgressMonitor::operator--() { return *this += -step; }

void ProgressMonitor::checkAbort() {
    if (LibraryData::API()->AbortQ() != 0) {
        ErrorManager::throwException(ErrorName::Aborted);
    }
}

} // namespace GTU
