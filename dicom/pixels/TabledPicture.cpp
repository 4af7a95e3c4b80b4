#include "dicom/pixels/TabledPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/pixels/WordSet.h"
#include "guard/pixels/ImagePixelAttributes.h"

// DCMTK looks at the number of pixels in two places, and there the two roads differ:
//
//  - It looks for the least and the greatest stored value in the whole value of Pixel Data, or only in the frames that
//    it was asked for, depending on whether the value has more than three samples for each value that BitsStored
//    allows. When the value holds more than those frames, the small picture has two of them: the words that lie
//    outside, and the words that lie in what is read; and together they are on the same side of that limit.
//  - It renders by a table of its own when a frame has more than three pixels for each value between the least and the
//    greatest that the modality transformation allows. This table starts at the least of these, and where that is no
//    whole number, which takes a fractional slope or intercept, the table and the formula round differently. The frame
//    of the small picture is then on the same side of that limit as well.

namespace radvex {

namespace {

using Words = std::vector<std::uint16_t>;

/// Pixels in all frames below which DCMTK is done before a small picture is.
constexpr std::uint64_t kLeastPixels = 32768;
/// A small picture pays when its pixels are this many times fewer.
constexpr std::uint64_t kLeastGain = 4;
/// DCMTK's own table is used from this many pixels for each of its entries on.
constexpr double kPixelsOfEntry = 3.0;

bool isGrey(DcmDataset& dataset) {
    OFString interpretation;
    (void)dataset.findAndGetOFString(DCM_PhotometricInterpretation, interpretation, 0, OFFalse);
    return interpretation == "MONOCHROME1" || interpretation == "MONOCHROME2";
}

/// The frames of an image, as DicomImage chooses them; nothing when it has no size.
std::optional<PictureShape> shapeOf(DcmDataset& dataset, unsigned long frameStart, unsigned long frameCount) {
    const ImagePixelAttributes attributes(dataset);
    const auto rows = attributes.numberOr(0, DCM_Rows);
    const auto columns = attributes.numberOr(0, DCM_Columns);
    if (rows == 0 || columns == 0) {
        return std::nullopt;
    }
    Sint32 number = 1;
    (void)dataset.findAndGetSint32(DCM_NumberOfFrames, number, 0, OFFalse);
    const auto stored = static_cast<std::uint64_t>(std::max<Sint32>(number, 1));
    const std::uint64_t first = std::min<std::uint64_t>(frameStart, stored - 1);
    const std::uint64_t rest = stored - first;
    return PictureShape{rows, columns, {first, frameCount > 0 ? std::min<std::uint64_t>(frameCount, rest) : rest}};
}

template <typename Use>
bool forEachBlock(StoredSamples& samples, std::uint64_t first, std::uint64_t count, Use use) {
    return samples.size() == 1 ? samples.forEachBlock<std::uint8_t>(first, count, use)
                               : samples.forEachBlock<std::uint16_t>(first, count, use);
}

/// Words in the frames that are read, and in what lies before and behind them.
struct OccurringWords {
    Words inside;
    Words outside; ///< empty when the value holds nothing else, and when DCMTK does not look at it
};

std::optional<OccurringWords> occurringWords(StoredSamples& samples, const PictureShape& shape, bool withOutside) {
    const std::uint64_t start = shape.frames.first * shape.pixelsOfFrame();
    const std::uint64_t count = shape.frames.count * shape.pixelsOfFrame();
    const std::uint64_t end = start + count;
    WordSet inside;
    const auto note = [](WordSet& words) {
        return [&words](const auto* block, std::size_t number) { words.add(block, number); };
    };
    if (!forEachBlock(samples, start, count, note(inside))) {
        return std::nullopt;
    }
    if (!withOutside || count == samples.count()) {
        return OccurringWords{inside.words(), {}};
    }
    WordSet outside;
    if (!forEachBlock(samples, 0, start, note(outside)) ||
        !forEachBlock(samples, end, samples.count() - end, note(outside))) {
        return std::nullopt;
    }
    return OccurringWords{inside.words(), outside.words()};
}

bool isOfTheImage(const DcmTag& tag) {
    constexpr Uint16 kImageGroup = 0x0028;
    if (tag.getGroup() == kImageGroup) {
        return tag != DCM_Rows && tag != DCM_Columns && tag != DCM_NumberOfFrames;
    }
    return tag == DCM_SOPClassUID || tag == DCM_PresentationLUTShape || tag == DCM_SharedFunctionalGroupsSequence;
}

/// What DCMTK looks at when it renders, but for size and pixels. Null when something cannot be copied.
std::unique_ptr<DcmDataset> copyOfAttributes(DcmDataset& dataset) {
    auto attributes = std::make_unique<DcmDataset>();
    for (DcmObject* object = dataset.nextInContainer(nullptr); object != nullptr;
         object = dataset.nextInContainer(object)) {
        if (!isOfTheImage(object->getTag())) {
            continue;
        }
        std::unique_ptr<DcmObject> copy(object->clone());
        auto* element = dynamic_cast<DcmElement*>(copy.get());
        if (element == nullptr || attributes->insert(element, OFTrue).bad()) {
            return nullptr;
        }
        (void)copy.release(); // the dataset's
    }
    return attributes;
}

/// Rows and columns of a frame of at least so many pixels. Their number is even: of an odd one of bytes DCMTK would
/// count the byte behind the last.
std::pair<std::uint64_t, std::uint64_t> shapeFor(std::uint64_t pixels) {
    constexpr std::uint64_t kMostColumns = 60000; // less than 65,536
    const std::uint64_t rows = (pixels + kMostColumns - 1) / kMostColumns;
    return {rows, 2 * ((pixels + 2 * rows - 1) / (2 * rows))};
}

std::uint64_t pixelsFor(std::uint64_t least) {
    const auto [rows, columns] = shapeFor(least);
    return rows * columns;
}

/// The small picture's pixels: frame by frame the words, and the last of them until the frame is full.
Words smallPixels(const OccurringWords& words, std::uint64_t frame) {
    Words pixels;
    for (const Words* part : {&words.outside, &words.inside}) {
        if (!part->empty()) {
            pixels.insert(pixels.end(), part->begin(), part->end());
            pixels.resize(pixels.size() + frame - part->size(), part->back());
        }
    }
    return pixels;
}

bool putPixels(DcmDataset& attributes, const Words& pixels, DcmEVR representation, std::size_t sampleSize) {
    auto element = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, representation));
    (void)element->setVR(representation);
    Words packed;
    std::vector<Uint8> bytes;
    const Words* words = &pixels;
    if (sampleSize == 1 && representation == EVR_OW) { // the first sample is the low byte
        for (std::size_t index = 0; index + 1 < pixels.size(); index += 2) {
            packed.push_back(static_cast<std::uint16_t>(pixels[index] | (pixels[index + 1] << 8)));
        }
        words = &packed;
    } else if (sampleSize == 1) {
        bytes.assign(pixels.begin(), pixels.end());
    }
    const OFCondition put = bytes.empty()
                                ? element->putUint16Array(words->data(), static_cast<unsigned long>(words->size()))
                                : element->putUint8Array(bytes.data(), static_cast<unsigned long>(bytes.size()));
    if (put.bad() || element->getVR() != representation || attributes.insert(element.get(), OFTrue).bad()) {
        return false;
    }
    (void)element.release(); // the dataset's
    return true;
}

struct SmallPicture {
    std::unique_ptr<DicomImage> image{};
    std::uint64_t pixels = 0; ///< of a frame
};

/// Null image when DCMTK does not open it.
SmallPicture openSmall(DcmDataset& attributes, const OccurringWords& words, std::uint64_t leastPixels,
                       const StoredSamples& samples, unsigned long flags) {
    const auto [rows, columns] = shapeFor(leastPixels);
    const bool hasOutside = !words.outside.empty();
    SmallPicture small{nullptr, rows * columns};
    if (attributes.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(rows)).bad() ||
        attributes.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(columns)).bad() ||
        attributes.putAndInsertString(DCM_NumberOfFrames, hasOutside ? "2" : "1").bad() ||
        !putPixels(attributes, smallPixels(words, small.pixels), samples.representation(), samples.size())) {
        return small;
    }
    constexpr unsigned long kNotOfSmall = CIF_UsePartialAccessToPixelData | CIF_MayDetachPixelData;
    small.image =
        std::make_unique<DicomImage>(&attributes, EXS_LittleEndianExplicit, flags & ~kNotOfSmall,
                                     static_cast<unsigned long>(hasOutside ? 1 : 0), static_cast<unsigned long>(1));
    if (small.image->getStatus() != EIS_Normal || small.image->getFrameCount() != 1) {
        small.image.reset();
    }
    return small;
}

/// What the modality transformation can make of any stored value.
struct ValueRange {
    double least = 0;
    double greatest = 0;

    explicit ValueRange(const DicomImage& image) { (void)image.getMinMaxValues(least, greatest, 1); }

    bool startsBetweenIntegers() const { return least != std::floor(least); }
    /// DCMTK turns reals into integers that cannot hold them, for values beyond 31 bits and for those that are cut to
    /// an integer below the least one. What comes out then depends on the place of the pixel.
    bool isTurnedSafely() const {
        constexpr double kLimit = 2147483648.0;
        return least >= -kLimit && greatest < kLimit && (least <= 0 || !startsBetweenIntegers());
    }
    /// Entries of the table that DCMTK would make for a rendering, when it matters whether it makes one; 0 otherwise.
    double entriesThatMatter() const { return startsBetweenIntegers() ? std::ceil(greatest - least + 1) : 0; }
};

bool areOnOneSide(std::uint64_t left, std::uint64_t right, double limit) {
    return (static_cast<double>(left) > limit) == (static_cast<double>(right) > limit);
}

/// Least number of pixels that lies above a limit.
std::uint64_t above(double limit) { return static_cast<std::uint64_t>(std::floor(limit)) + 1; }

template <typename Output, typename Sample>
void lookUpBlock(const Output* table, const Sample* samples, std::size_t count, Output* target) {
    for (std::size_t index = 0; index < count; ++index) {
        target[index] = table[samples[index]];
    }
}

template <typename Output>
bool lookUpAll(const void* table, StoredSamples& samples, std::uint64_t first, std::uint64_t count, void* target) {
    auto* place = static_cast<Output*>(target);
    return forEachBlock(samples, first, count, [&](const auto* block, std::size_t number) {
        lookUpBlock(static_cast<const Output*>(table), block, number, place);
        place += number;
    });
}

} // namespace

TabledPicture::TabledPicture(std::unique_ptr<DicomImage> small, std::unique_ptr<DcmDataset> attributes, Words words,
                             StoredSamples samples, const PictureShape& shape)
    : Picture(std::move(small), std::move(attributes)),
      mWords(std::move(words)),
      mSamples(std::move(samples)),
      mShape(shape) {}

TabledPicture::Attempt TabledPicture::tryToOpen(DcmDataset& dataset, unsigned long flags, unsigned long frameStart,
                                                unsigned long frameCount, SampleSource source, Worth worth) {
    const MemoryWatch memory; // a copy without its value would be rendered differently
    if (!isGrey(dataset)) {
        return {nullptr, "it is not grey"};
    }
    const auto shape = shapeOf(dataset, frameStart, frameCount);
    if (!shape) {
        return {nullptr, "it has no size"};
    }
    const std::uint64_t pixels = shape->frames.count * shape->pixelsOfFrame();
    if (worth == Worth::whereItPays && pixels < kLeastPixels) {
        return {nullptr, "it has few pixels"};
    }
    auto samples = StoredSamples::of(dataset, source);
    if (!samples) {
        return {nullptr, "its samples do not lie there in 8 or 16 bits each"};
    }
    if (shape->frames.first * shape->pixelsOfFrame() + pixels > samples->count()) {
        return {nullptr, "its pixels are not all there"};
    }
    // With partial access DCMTK reads the frames that it was asked for and nothing else.
    const auto words = occurringWords(*samples, *shape, (flags & CIF_UsePartialAccessToPixelData) == 0);
    if (!words) {
        return {nullptr, "its pixels cannot be read"};
    }

    const std::uint64_t most = worth == Worth::always ? UINT64_MAX : pixels / kLeastGain;
    const std::uint64_t fewest = std::max(words->inside.size(), words->outside.size());
    const double looked = words->outside.empty()
                              ? 0.0
                              : kPixelsOfEntry * std::exp2(ImagePixelAttributes(dataset).numberOr(0, DCM_BitsStored));
    const bool isLookedThroughByTable = static_cast<double>(samples->count()) > looked;
    const std::uint64_t enough = looked > 0 && isLookedThroughByTable ? std::max(fewest, above(looked / 2.0)) : fewest;
    if (pixelsFor(enough) > most) {
        return {nullptr, "it has few pixels for each stored value"};
    }
    auto attributes = copyOfAttributes(dataset);
    if (attributes == nullptr) {
        return {nullptr, "its attributes cannot be copied"};
    }
    SmallPicture small = openSmall(*attributes, *words, enough, *samples, flags);
    if (small.image == nullptr) {
        return {nullptr, "DCMTK does not open a small picture with its attributes"};
    }
    const ValueRange range(*small.image);
    if (!range.isTurnedSafely()) {
        return {nullptr, "its slope and intercept lead to values that DCMTK does not turn into integers in one way"};
    }
    const double rendered = kPixelsOfEntry * range.entriesThatMatter();
    if (rendered > 0 && static_cast<double>(shape->pixelsOfFrame()) > rendered &&
        static_cast<double>(small.pixels) <= rendered) {
        if (pixelsFor(above(rendered)) > most) {
            return {nullptr, "it has few pixels for each value that a fractional slope allows"};
        }
        small = openSmall(*attributes, *words, above(rendered), *samples, flags);
        if (small.image == nullptr) {
            return {nullptr, "DCMTK does not open a small picture with its attributes"};
        }
    }
    if (looked > 0 && !areOnOneSide(samples->count(), 2 * small.pixels, looked)) {
        return {nullptr, "DCMTK looks through the frames that are read, and would not in a small picture"};
    }
    if (rendered > 0 && !areOnOneSide(shape->pixelsOfFrame(), small.pixels, rendered)) {
        return {nullptr, "DCMTK renders it by formula, and would not render a small picture so"};
    }
    if (memory.hasRunOut()) {
        return {nullptr, "there is not enough memory to copy its attributes"};
    }
    Words inside = words->inside;
    return {std::unique_ptr<Picture>(new TabledPicture(std::move(small.image), std::move(attributes), std::move(inside),
                                                       std::move(*samples), *shape)),
            ""};
}

std::size_t TabledPicture::frameBytes(int bits) const {
    const DicomImage& small = image();
    const unsigned long pixels = small.getWidth() * small.getHeight();
    return small.getOutputDataSize(bits) / pixels * mShape.pixelsOfFrame();
}

std::vector<std::byte> TabledPicture::tableOf(const void* outputs, std::size_t outputBytes) const {
    std::vector<std::byte> table((std::size_t{1} << (8 * mSamples.size())) * outputBytes);
    const auto* output = static_cast<const std::byte*>(outputs);
    for (const std::uint16_t word : mWords) {
        std::memcpy(&table[word * outputBytes], output, outputBytes);
        output += outputBytes;
    }
    return table;
}

bool TabledPicture::lookUp(const std::vector<std::byte>& table, std::size_t outputBytes, FrameRange frames,
                           void* target) {
    const std::uint64_t first = frames.first * mShape.pixelsOfFrame();
    const std::uint64_t count = frames.count * mShape.pixelsOfFrame();
    switch (outputBytes) {
    case 1: return lookUpAll<std::uint8_t>(table.data(), mSamples, first, count, target);
    case 2: return lookUpAll<std::uint16_t>(table.data(), mSamples, first, count, target);
    case 4: return lookUpAll<std::uint32_t>(table.data(), mSamples, first, count, target);
    default: return false;
    }
}

bool TabledPicture::render(void* target, std::size_t bytes, int bits, unsigned long frame, bool /*isByPlane*/) {
    if (frame >= mShape.frames.count || bytes < frameBytes(bits)) {
        return false;
    }
    const std::size_t outputBytes = frameBytes(bits) / mShape.pixelsOfFrame();
    if (mTable.empty() || mBitsOfTable != bits) {
        const void* outputs = opened().getOutputData(bits, 0, 0);
        if (outputs == nullptr) {
            return false;
        }
        mTable = tableOf(outputs, outputBytes);
        mBitsOfTable = bits;
    }
    return lookUp(mTable, outputBytes, {mShape.frames.first + frame, 1}, target);
}

std::optional<Picture::Values> TabledPicture::values() const {
    auto values = Picture::values();
    if (values) {
        values->count = mShape.frames.count * mShape.pixelsOfFrame();
    }
    return values;
}

bool TabledPicture::copyValues(void* target) {
    const DiPixel& pixels = *opened().getInterData();
    const std::size_t bytes = bytesOf(pixels.getRepresentation());
    return lookUp(tableOf(pixels.getData(), bytes), bytes, mShape.frames, target);
}

} // namespace radvex
