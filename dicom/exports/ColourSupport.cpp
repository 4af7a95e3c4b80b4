// Colour support of DicomImage, which DCMTK takes from a static instance in whoever uses it.

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmimgle/diregbas.h"

namespace {

/// The instance of another user of DCMTK in this process, null without one. Read before the header below makes ours.
DiRegisterBase* const instanceBefore = DiRegisterBase::Pointer;

} // namespace

#include "dcmtk/dcmimage/diregist.h"

namespace {

/// DCMTK goes on pointing to our instance when it is gone, and can outlive this library.
struct InstanceGuard {
    InstanceGuard() = default;
    InstanceGuard(const InstanceGuard&) = delete;
    InstanceGuard& operator=(const InstanceGuard&) = delete;
    ~InstanceGuard() {
        if (DiRegisterBase::Pointer == &Init_dcmimage_Module) {
            DiRegisterBase::Pointer = instanceBefore;
        }
    }
};

const InstanceGuard guard;

} // namespace
