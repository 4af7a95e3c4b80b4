#include "dicom/pixels/PromisedPixels.h"

#include "dicom/pixels/ImagePixelAttributes.h"

namespace radvex {

bool promisesTooManyPixels(DcmItem& dataset) {
    const ImagePixelAttributes attributes(dataset);
    const double bits = attributes.bitsOfSample();
    const double subsampling = attributes.isSubsampled() ? 2.0 / 3.0 : 1.0;
    const double samples = std::max(1.0, attributes.samplesOfFrame() * subsampling);
    const double framesHeld = attributes.storedBytes() * 8.0 / bits / samples;
    return missingBytesOfFrames(attributes.frames(), framesHeld, samples * std::max(1.0, bits / 8.0)) >
           kMaxMissingBytes;
}

} // namespace radvex
