#include "dicom/pixels/TabledPicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/pixels/WordSet.h"
#include "guard/pixels/ImagePixelAttributes.h"

// DCMTK looks at the number of pixels in two places, and there a small picture could go another way than a large one:
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
using Colour = TabledPicture::Colour;
using Shape = TabledPicture::Shape;

/// Samples in all frames below which DCMTK is done before a small picture is.
constexpr std::uint64_t kLeastSamples = 32768;
/// A small picture pays when its pixels are this many times fewer.
constexpr std::uint64_t kLeastGain = 4;
/// DCMTK's own tables are used from this many pixels for each of their entries on.
constexpr double kPixelsOfEntry = 3.0;
/// Values of a sample of 8 bits.
constexpr std::size_t kBytes = 256;

/// Thrown inside tryToOpen: why DCMTK has to render all pixels.
struct NotByTable {
    const char* reason;
};

void require(bool isGiven, const char* reason) {
    if (!isGiven) {
        throw NotByTable{reason};
    }
}

std::string interpretationOf(DcmDataset& dataset) {
    OFString interpretation;
    (void)dataset.findAndGetOFString(DCM_PhotometricInterpretation, interpretation, 0, OFFalse);
    return {interpretation.c_str(), interpretation.length()};
}

/// Colour by plane is rendered by plane, unless it is asked for by pixel.
bool isStoredAsAsked(DcmDataset& dataset, bool isByPixel) {
    const auto planes = ImagePixelAttributes(dataset).number(DCM_PlanarConfiguration);
    return planes && (*planes == 0 || (*planes == 1 && !isByPixel));
}

Colour colourOf(DcmDataset& dataset, const TabledPicture::Request& request) {
    const std::string interpretation = interpretationOf(dataset);
    if (interpretation == "MONOCHROME1" || interpretation == "MONOCHROME2") {
        return Colour::grey;
    }
    require(request.use == TabledPicture::Use::rendering, "it is not grey, and values are asked for");
    const ImagePixelAttributes attributes(dataset);
    if (interpretation == "PALETTE COLOR") {
        // Its samples have no planes, but DCMTK renders by plane when it is asked for that.
        require(request.isByPixel || attributes.numberOr(0, DCM_PlanarConfiguration) == 0,
                "its colours lie in another order than they are asked for");
        return Colour::palette;
    }
    require(interpretation == "RGB" && attributes.numberOr(0, DCM_SamplesPerPixel) == 3 &&
                attributes.numberOr(0, DCM_BitsAllocated) == 8,
            "it is neither grey, nor RGB of 8 bits, nor of a palette");
    require(isStoredAsAsked(dataset, request.isByPixel), "its colours lie in another order than they are asked for");
    return Colour::rgb;
}

/// The frames of an image, as DicomImage chooses them.
Shape shapeOf(DcmDataset& dataset, const TabledPicture::Request& request, Colour colour) {
    const ImagePixelAttributes attributes(dataset);
    const auto rows = attributes.numberOr(0, DCM_Rows);
    const auto columns = attributes.numberOr(0, DCM_Columns);
    require(rows > 0 && columns > 0, "it has no size");
    Sint32 number = 1;
    (void)dataset.findAndGetSint32(DCM_NumberOfFrames, number, 0, OFFalse);
    const auto stored = static_cast<std::uint64_t>(std::max<Sint32>(number, 1));
    const std::uint64_t first = std::min<std::uint64_t>(request.frameStart, stored - 1);
    const std::uint64_t rest = stored - first;
    const std::uint64_t count = request.frameCount > 0 ? std::min<std::uint64_t>(request.frameCount, rest) : rest;
    return {rows, columns, first, count, colour == Colour::rgb ? std::uint64_t{3} : std::uint64_t{1}};
}

template <typename Use>
bool forEachBlock(StoredSamples& samples, std::uint64_t first, std::uint64_t count, Use use) {
    return samples.size() == 1 ? samples.forEachBlock<std::uint8_t>(first, count, use)
                               : samples.forEachBlock<std::uint16_t>(first, count, use);
}

/// The words that occur in `count` samples from `first` on, and in others behind those.
Words occurringWords(StoredSamples& samples, std::initializer_list<std::pair<std::uint64_t, std::uint64_t>> parts) {
    WordSet words;
    for (const auto& [first, count] : parts) {
        require(forEachBlock(samples, first, count,
                             [&](const auto* block, std::size_t number) { words.add(block, number); }),
                "its pixels cannot be read");
    }
    return words.words();
}

/// What the modality transformation can make of any stored value.
struct ValueRange {
    double least = 0;
    double greatest = 0;

    explicit ValueRange(const DicomImage& image) { (void)image.getMinMaxValues(least, greatest, 1); }

    bool startsBetweenIntegers() const { return least != std::floor(least); }
    /// DCMTK converts reals to integers that cannot hold them, for values beyond 31 bits and for those that are cut to
    /// an integer below the least one. What comes out then depends on the place of the pixel.
    bool isConvertedSafely() const {
        constexpr double kLimit = 2147483648.0;
        return least >= -kLimit && greatest < kLimit && (least <= 0 || !startsBetweenIntegers());
    }
    /// Pixels above which DCMTK renders by a table of its own, when that makes a difference; 0 otherwise.
    double limitOfFormula() const {
        return startsBetweenIntegers() ? kPixelsOfEntry * std::ceil(greatest - least + 1) : 0;
    }
};

bool areOnOneSide(std::uint64_t left, std::uint64_t right, double limit) {
    return (static_cast<double>(left) > limit) == (static_cast<double>(right) > limit);
}

/// Least number of pixels that lies above a limit.
std::uint64_t above(double limit) { return static_cast<std::uint64_t>(std::floor(limit)) + 1; }

/// The words of a frame, and the last of them until it is full.
void addFrame(SmallPixels& pixels, const Words& words) {
    const std::size_t end = pixels.samples.size() + pixels.pixelsOfFrame();
    pixels.samples.insert(pixels.samples.end(), words.begin(), words.end());
    pixels.samples.resize(end, words.back());
}

/// Opens the small picture of one image, with more pixels when they have to be more.
class SmallGreyPicture {
  public:
    /// @param outside  words that DCMTK sees and does not render
    /// @param most  of its pixels
    SmallGreyPicture(DcmDataset& dataset, const TabledPicture::Request& request, const StoredSamples& samples,
                     const Words& inside, const Words& outside, std::uint64_t most)
        : mDataset(dataset), mRequest(request), mInside(inside), mOutside(outside), mMost(most) {
        mPixels.sampleSize = samples.size();
        mPixels.representation = samples.representation();
        mPixels.frames = outside.empty() ? 1 : 2;
    }

    /// @param stored  samples in the value, and `frame` of them in a frame
    SmallPicture open(std::uint64_t stored, std::uint64_t frame) {
        const double limitOfSearch =
            mOutside.empty() ? 0.0
                             : kPixelsOfEntry * std::exp2(ImagePixelAttributes(mDataset).numberOr(0, DCM_BitsStored));
        std::uint64_t least = std::max(mInside.size(), mOutside.size());
        if (limitOfSearch > 0 && static_cast<double>(stored) > limitOfSearch) {
            least = std::max(least, above(limitOfSearch / 2.0));
        }
        SmallPicture small = openWith(least, "it has few pixels for each stored value");
        const ValueRange range(*small.image);
        require(range.isConvertedSafely(),
                "its slope and intercept lead to values that DCMTK does not turn into integers in one way");
        const double limitOfFormula = range.limitOfFormula();
        if (limitOfFormula > 0 && static_cast<double>(frame) > limitOfFormula &&
            static_cast<double>(mPixels.pixelsOfFrame()) <= limitOfFormula) {
            small.image.reset(); // before its dataset
            small = openWith(above(limitOfFormula), "it has few pixels for each value that a fractional slope allows");
        }
        require(limitOfSearch <= 0 || areOnOneSide(stored, 2 * mPixels.pixelsOfFrame(), limitOfSearch),
                "DCMTK looks through the frames that are read, and would not in a small picture");
        require(limitOfFormula <= 0 || areOnOneSide(frame, mPixels.pixelsOfFrame(), limitOfFormula),
                "DCMTK renders it by formula, and would not render a small picture so");
        return small;
    }

  private:
    SmallPicture openWith(std::uint64_t least, const char* reasonWhenTooLarge) {
        setSize(mPixels, least);
        constexpr std::uint64_t kMostRows = 65535;
        require(mPixels.pixelsOfFrame() <= mMost && mPixels.rows <= kMostRows, reasonWhenTooLarge);
        mPixels.samples.clear();
        if (!mOutside.empty()) {
            addFrame(mPixels, mOutside);
        }
        addFrame(mPixels, mInside);
        SmallPicture small =
            openSmallPicture(mDataset, mRequest.source == SampleSource::memory, mPixels, mRequest.flags);
        require(small.image != nullptr, "DCMTK does not open a small picture with its attributes");
        return small;
    }

    DcmDataset& mDataset;
    const TabledPicture::Request& mRequest;
    const Words& mInside;
    const Words& mOutside;
    std::uint64_t mMost;
    SmallPixels mPixels{};
};

/// What a colour has in the small picture of RGB: each colour all 256 values, and no two of a pixel the same.
std::uint16_t rgbSample(std::size_t pixel, std::size_t colour) {
    return static_cast<std::uint16_t>((pixel + 85 * colour) % kBytes);
}

/// True when the three colours become the same output for the same sample, whatever the other two are.
template <typename Output>
bool isBySample(DicomImage& image) {
    const auto* outputs = static_cast<const Output*>(image.getOutputData(8 * sizeof(Output), 0, 0));
    bool isBySample = outputs != nullptr;
    for (std::size_t index = 0; isBySample && index < 3 * kBytes; ++index) {
        isBySample = outputs[index] == outputs[std::size_t{3} * rgbSample(index / 3, index % 3)];
    }
    return isBySample;
}

SmallPicture openSmallRgb(DcmDataset& dataset, const TabledPicture::Request& request, const StoredSamples& samples) {
    constexpr std::size_t kEdge = 16;
    const bool isByPlane = ImagePixelAttributes(dataset).numberOr(0, DCM_PlanarConfiguration) != 0;
    SmallPixels pixels{Words(3 * kBytes), kEdge, kEdge, 1, samples.size(), samples.representation()};
    for (std::size_t pixel = 0; pixel < kBytes; ++pixel) {
        for (std::size_t colour = 0; colour < 3; ++colour) {
            pixels.samples[isByPlane ? colour * kBytes + pixel : 3 * pixel + colour] = rgbSample(pixel, colour);
        }
    }
    SmallPicture small = openSmallPicture(dataset, request.source == SampleSource::memory, pixels, request.flags);
    require(small.image != nullptr, "DCMTK does not open a small picture with its attributes");
    require(small.image->isMonochrome() == 0, "its colours are taken for grey");
    require(isBySample<Uint8>(*small.image) && isBySample<Uint16>(*small.image) && isBySample<Uint32>(*small.image),
            "its colours depend on each other");
    return small;
}

template <typename Output, typename Sample>
void lookUpBlock(const Output* table, const Sample* samples, std::size_t count, Output* target) {
    for (std::size_t index = 0; index < count; ++index) {
        target[index] = table[samples[index]];
    }
}

template <typename Output>
bool lookUpAll(const std::vector<std::byte>& outputs, StoredSamples& samples, std::uint64_t first, std::uint64_t count,
               void* target) {
    const auto* table = reinterpret_cast<const Output*>(outputs.data());
    auto* place = static_cast<Output*>(target);
    return forEachBlock(samples, first, count, [&](const auto* block, std::size_t number) {
        lookUpBlock(table, block, number, place);
        place += number;
    });
}

} // namespace

TabledPicture::TabledPicture(SmallPicture&& small, Words words, StoredSamples samples, const Shape& shape,
                             Colour colour)
    : Picture(std::move(small.image), std::move(small.dataset)),
      mWords(std::move(words)),
      mSamples(std::move(samples)),
      mShape(shape),
      mColour(colour) {}

TabledPicture::Attempt TabledPicture::tryToOpen(DcmDataset& dataset, const Request& request) {
    // The pictures of many series are small, and to throw would take as long as to open one.
    const double promised = ImagePixelAttributes(dataset).samples();
    if (request.worth == Worth::whereItPays && promised > 0 && promised < static_cast<double>(kLeastSamples)) {
        return {nullptr, "it has few pixels"};
    }
    const MemoryWatch memory; // a copy without its value would be rendered differently
    try {
        const Colour colour = colourOf(dataset, request);
        const Shape shape = shapeOf(dataset, request, colour);
        const std::uint64_t first = shape.firstFrame * shape.samplesOfFrame();
        const std::uint64_t count = shape.frameCount * shape.samplesOfFrame();
        const bool hasToPay = request.worth == Worth::whereItPays;
        require(!hasToPay || count >= kLeastSamples, "it has few pixels");
        auto samples = StoredSamples::of(dataset, request.source);
        require(samples.has_value(), "its samples are not stored in 8 or 16 bits each");
        require(first + count <= samples->count(), "its pixels are not all there");

        Words words;
        SmallPicture small;
        if (colour == Colour::rgb) {
            for (std::size_t pixel = 0; pixel < kBytes; ++pixel) {
                words.push_back(static_cast<std::uint16_t>(pixel));
            }
            small = openSmallRgb(dataset, request, *samples);
        } else {
            words = occurringWords(*samples, {{first, count}});
            // With partial access DCMTK reads the frames that it was asked for and nothing else.
            const bool isAll = (request.flags & CIF_UsePartialAccessToPixelData) != 0 || count == samples->count();
            const std::uint64_t end = first + count;
            const Words outside =
                isAll ? Words{} : occurringWords(*samples, {{0, first}, {end, samples->count() - end}});
            const std::uint64_t most = hasToPay ? count / kLeastGain : UINT64_MAX;
            small = SmallGreyPicture(dataset, request, *samples, words, outside, most)
                        .open(samples->count(), shape.samplesOfFrame());
        }
        require(!memory.hasRunOut(), "there is not enough memory to copy its attributes");
        return {std::unique_ptr<Picture>(
                    new TabledPicture(std::move(small), std::move(words), std::move(*samples), shape, colour)),
                ""};
    } catch (const NotByTable& refusal) {
        return {nullptr, refusal.reason};
    }
}

/// Bytes of one pixel at a depth in bits; 0 bits for the picture's own depth.
std::size_t TabledPicture::outputBytesOfPixel(int bits) const {
    const unsigned long pixels = image().getWidth() * image().getHeight();
    return image().getOutputDataSize(bits) / std::max(pixels, 1UL);
}

std::size_t TabledPicture::frameBytes(int bits) const {
    return outputBytesOfPixel(bits) * mShape.rows * mShape.columns;
}

TabledPicture::Table TabledPicture::tableOf(const void* outputs, std::size_t outputBytes, int bits) const {
    Table table{std::vector<std::byte>((std::size_t{1} << (8 * mSamples.size())) * outputBytes), outputBytes, bits,
                outputBytes == mSamples.size()};
    // The outputs of the small picture of RGB are those of all three colours; the first is enough.
    const std::size_t step = mColour == Colour::rgb ? 3 * outputBytes : outputBytes;
    const auto* output = static_cast<const std::byte*>(outputs);
    for (const std::uint16_t word : mWords) {
        std::memcpy(&table.outputs[word * outputBytes], output, outputBytes);
        table.isIdentity =
            table.isIdentity && std::memcmp(&word, output, outputBytes) == 0; // the low byte is the first
        output += step;
    }
    return table;
}

bool TabledPicture::lookUp(const Table& table, std::uint64_t firstFrame, std::uint64_t frames, void* target) {
    const std::uint64_t first = firstFrame * mShape.samplesOfFrame();
    const std::uint64_t count = frames * mShape.samplesOfFrame();
    if (table.isIdentity) {
        return mSamples.copy(first, count, target);
    }
    switch (table.outputBytes) {
    case 1: return lookUpAll<std::uint8_t>(table.outputs, mSamples, first, count, target);
    case 2: return lookUpAll<std::uint16_t>(table.outputs, mSamples, first, count, target);
    case 3: return lookUpAll<std::array<std::uint8_t, 3>>(table.outputs, mSamples, first, count, target);
    case 4: return lookUpAll<std::uint32_t>(table.outputs, mSamples, first, count, target);
    case 6: return lookUpAll<std::array<std::uint16_t, 3>>(table.outputs, mSamples, first, count, target);
    case 12: return lookUpAll<std::array<std::uint32_t, 3>>(table.outputs, mSamples, first, count, target);
    default: return false;
    }
}

bool TabledPicture::render(void* target, std::size_t bytes, int bits, unsigned long frame, bool /*isByPlane*/) {
    if (frame >= mShape.frameCount || bytes < frameBytes(bits)) {
        return false;
    }
    if (mTable.outputs.empty() || mTable.bits != bits) {
        const void* outputs = opened().getOutputData(bits, 0, 0);
        if (outputs == nullptr) {
            return false;
        }
        mTable = tableOf(outputs, outputBytesOfPixel(bits) / mShape.samplesOfPixel, bits);
    }
    return lookUp(mTable, mShape.firstFrame + frame, 1, target);
}

std::optional<Picture::Values> TabledPicture::values() const {
    auto values = Picture::values();
    if (values) {
        values->count = mShape.frameCount * mShape.samplesOfFrame();
    }
    return values;
}

bool TabledPicture::copyValues(void* target) {
    const DiPixel& pixels = *opened().getInterData();
    return lookUp(tableOf(pixels.getData(), bytesOf(pixels.getRepresentation()), 0), mShape.firstFrame,
                  mShape.frameCount, target);
}

} // namespace radvex
