// Colour support of DicomImage. DCMTK takes it from a static instance in the module that includes its header.

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmimgle/diregbas.h"

namespace {

/// The instance of another user of DCMTK in this process, or null. Read before the header below makes ours.
DiRegisterBase* const instanceBefore = DiRegisterBase::Pointer;

} // namespace

#include "dcmtk/dcmimage/diregist.h"

namespace {

/// Restores the former instance: DCMTK can outlive this library and would keep a pointer to an instance that is gone.
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
