#include <stdexcept>

#include "dcmtk/config/osconfig.h"
#include "dcmtk/dcmimage/diregist.h" // colour in this program too
#include "dcmtk/oflog/oflog.h"
#include "dicom/pixels/RenderingSafety.h"
#include "fuzz/Choices.h"
#include "guard/GuardedLoad.h"
#include "guard/pixels/DecodingSafety.h"
#include "guard/pixels/ImagePixelAttributes.h"
#include "tests/support/PictureComparison.h"

namespace radvex::fuzz {

namespace {

/// Makes the pixels ready as a reader does. @return false for what DCMTK must not render
bool isReady(DcmDataset& dataset) {
    if (!reasonNotToDecode(dataset).empty()) {
        return false;
    }
    (void)dataset.chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    if (!reasonNotToDecode(dataset).empty()) {
        return false;
    }
    padOddPixelData(dataset);
    (void)dataset.putAndInsertUint16(DcmTag(DCM_PixelRepresentation), 0, 0, OFFalse);
    constexpr double kMostSamples = 1 << 18; // they are rendered two dozen times, without optimisation
    return ImagePixelAttributes(dataset).samples() <= kMostSamples && !isStandaloneOverlay(dataset) &&
           reasonNotToRender(dataset).empty() && !promisesTooManyPixels(dataset);
}

/// The modes that need no numbers, and a window of any.
std::vector<ImageReadOptions> windowsOf(const Choices& choices) {
    std::vector<ImageReadOptions> windows;
    for (const int mode : {kNoWindow, kTrimmedMinMaxWindow, kMinMaxWindow, kExplicitWindow}) {
        windows.emplace_back().scaling = mode;
    }
    windows.back().windowCenter = static_cast<double>(choices.word(3)) - 32768.0;
    windows.back().windowWidth = choices.byte(5) / 4.0 * (choices.bit(0, 0) ? 1000.0 : 1.0);
    return windows;
}

} // namespace

void runTables(Bytes input) {
    constexpr Uint32 kMaxReadLength = 64; // most pixels stay in the file
    constexpr unsigned kNotOfReaders =
        CIF_MayDetachPixelData | CIF_TakeOverExternalDataset | CIF_UsePartialAccessToPixelData;
    OFLog::configure(OFLogger::OFF_LOG_LEVEL); // the library silences its own DCMTK only
    const Choices choices(input);
    const std::string path = Harness::instance().write("input.dcm", Choices::rest(input));
    DcmFileFormat file;
    std::shared_ptr<SourceFile> source;
    if (loadGuarded(file, path, kMaxReadLength, &source) || !isReady(*file.getDataset())) {
        return;
    }
    ImageOpenOptions options;
    options.frameStart = choices.byte(1);
    options.frameCount = choices.byte(2);
    options.flags = choices.word(6) & ~kNotOfReaders;
    const auto comparison = test::comparePictures(
        *file.getDataset(), options, choices.bit(0, 1) ? SampleSource::file : SampleSource::memory, windowsOf(choices));
    if (!comparison.difference.empty()) {
        throw std::runtime_error("By table it is another picture: " + comparison.difference);
    }
}

} // namespace radvex::fuzz
