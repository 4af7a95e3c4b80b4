#pragma once

// Identifiers of the library's errors, as hosts keep them: a change here would break them.

namespace radvex::test {

constexpr int kImageTypeError = -22;
constexpr int kPathNotValidated = -59;
constexpr int kOpenFileError = -62;
constexpr int kInvalidTagName = -64;
constexpr int kInvalidTagValue = -74;
constexpr int kReservedTagError = -75;
constexpr int kImageWriteError = -76;
constexpr int kTagWriteError = -77;
constexpr int kAnonymizationError = -78;
constexpr int kOverlayCountError = -79;
constexpr int kSequenceTagVRError = -80;
constexpr int kVArgumentTypeError = -81;
constexpr int kOverlayPropertyError = -83;

} // namespace radvex::test
