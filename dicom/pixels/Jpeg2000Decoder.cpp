#include "dicom/pixels/Jpeg2000Decoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcerror.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcswap.h"
#include "dcmtk/dcmdata/dcvrpobw.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dicom/pixels/Jpeg2000Picture.h"
#include "guard/pixels/FrameFragments.h"
#include "guard/pixels/ImagePixelAttributes.h"
#include "guard/pixels/Jpeg2000Codestream.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

/// A text that is no constant is copied with each condition, and nobody looks whether there was memory for it.
OFCondition outOfMemory() {
    static makeOFConditionConst(condition, OFM_dcmjp2k, kJpeg2000OutOfMemory, OF_error, "there is not enough memory");
    return {condition};
}

/// Why frames are not decoded. DCMTK, whose code exceptions must not pass, gets it as a condition.
class Undecodable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;

    OFCondition condition() const {
        OFCondition condition(OFM_dcmjp2k, kJpeg2000Failed, OF_error, what());
        return condition.text() == nullptr ? outOfMemory() : condition;
    }
};

/// What the attributes of an item say of its pixels, before they are decoded.
struct Stated {
    std::size_t samplesPerPixel = 0;
    std::size_t rows = 0;
    std::size_t columns = 0;
    int bitsAllocated = 0;
    int bitsStored = 0;
    int highBit = 0;
    bool isSigned = false;
    bool isByPlane = false;
    std::size_t frames = 1; ///< no more than there are fragments
    std::string colourModel{};

    std::size_t samplesOfFrame() const { return rows * columns * samplesPerPixel; }
};

/// @return the condition of DCMTK's other decoders where something is missing
OFCondition read(DcmItem& item, DcmPixelSequence& fragments, Stated& stated) {
    Uint16 samplesPerPixel = 0;
    Uint16 rows = 0;
    Uint16 columns = 0;
    Uint16 bitsAllocated = 0;
    Uint16 bitsStored = 0;
    Uint16 highBit = 0;
    const std::pair<DcmTagKey, Uint16*> needed[] = {{DCM_SamplesPerPixel, &samplesPerPixel},
                                                    {DCM_Rows, &rows},
                                                    {DCM_Columns, &columns},
                                                    {DCM_BitsAllocated, &bitsAllocated},
                                                    {DCM_BitsStored, &bitsStored},
                                                    {DCM_HighBit, &highBit}};
    for (const auto& [key, value] : needed) {
        if (item.findAndGetUint16(key, *value).bad()) {
            return EC_TagNotFound;
        }
    }
    if ((samplesPerPixel != 1 && samplesPerPixel != 3) || rows == 0 || columns == 0) {
        return EC_InvalidTag;
    }
    const ImagePixelAttributes attributes(item);
    Sint32 frames = 1;
    (void)item.findAndGetSint32(DCM_NumberOfFrames, frames);
    OFString model;
    (void)item.findAndGetOFString(DCM_PhotometricInterpretation, model);
    stated = {.samplesPerPixel = samplesPerPixel,
              .rows = rows,
              .columns = columns,
              .bitsAllocated = bitsAllocated,
              .bitsStored = bitsStored,
              .highBit = highBit,
              .isSigned = attributes.numberOr(0, DCM_PixelRepresentation) != 0,
              .isByPlane = samplesPerPixel > 1 && attributes.numberOr(0, DCM_PlanarConfiguration) == 1,
              .frames = std::min<std::size_t>(static_cast<std::size_t>(std::max<Sint32>(frames, 1)),
                                              std::max<unsigned long>(fragments.card(), 2) - 1),
              .colourModel = {model.c_str(), model.size()}};
    return EC_Normal;
}

/// The colour model of decoded samples.
std::string decodedModel(const std::string& model) {
    if (model == "YBR_RCT" || model == "YBR_ICT") {
        return "RGB";
    }
    return model == "YBR_FULL_422" || model == "YBR_PARTIAL_422" ? "YBR_FULL" : model;
}

OFString toOf(const std::string& text) { return {text.data(), text.size()}; }

/// Decodes the frames of an item, one after the other.
class FrameDecoder {
  public:
    FrameDecoder(DcmItem& item, DcmPixelSequence& fragments, const Stated& stated)
        : mStated(stated), mFrames(fragmentsOfFrames(item, fragments, stated.frames)) {}

    /// Reads the headers of all frames.
    /// @throws Undecodable
    void prepare() {
        if (mFrames.size() != mStated.frames) {
            throw Undecodable("its frames cannot be told apart");
        }
        std::vector<Uint8> joined;
        for (const FrameFragments& frame : mFrames) {
            const Jpeg2000Codestream codestream(bytesOfFrame(frame, joined));
            if (!codestream.problem().empty()) {
                throw Undecodable(codestream.problem());
            }
            const int precision = codestream.precision();
            if (mPrecision != 0 && (precision != mPrecision || codestream.isSigned() != mIsSigned)) {
                throw Undecodable("its frames have different kinds of samples");
            }
            mPrecision = precision;
            mIsSigned = codestream.isSigned();
        }
    }

    int precision() const { return mPrecision; }
    /// Whether samples of the decoded frames need more bits than the attributes say. Those of an encoder that takes all
    /// allocated bits usually do not. Samples of another sign are their bits.
    bool needsMoreBits() const { return mNeedsMoreBits; }
    std::size_t bytesPerSample() const { return mStated.bitsAllocated > 8 || mPrecision > 8 ? 2 : 1; }
    std::size_t frameSize() const { return mStated.samplesOfFrame() * bytesPerSample(); }

    /// @param into  has room for a frame
    /// @throws Undecodable, std::bad_alloc
    void decode(std::size_t frame, void* into) {
        const Jpeg2000Codestream codestream(bytesOfFrame(mFrames[frame], mJoined));
        const Jpeg2000Picture picture(codestream.bytes());
        if (!picture.problem().empty()) {
            if (picture.hasRunOutOfMemory()) {
                throw std::bad_alloc();
            }
            throw Undecodable("OpenJPEG cannot decode its frame " + std::to_string(frame + 1) + ": " +
                              picture.problem());
        }
        for (std::size_t component = 0; component < mStated.samplesPerPixel; ++component) {
            const auto samples = picture.samples(component, mStated.columns, mStated.rows);
            if (samples.empty() || picture.components() != mStated.samplesPerPixel) {
                throw Undecodable("its JPEG 2000 codestream has another size than the image");
            }
            if (isAmbiguous(samples)) {
                throw Undecodable("its samples are " + std::string(mIsSigned ? "signed" : "unsigned") +
                                  " in the codestream, and not in the attributes");
            }
            mNeedsMoreBits = mNeedsMoreBits || exceedsStatedBits(samples);
            if (bytesPerSample() == 1) {
                put(samples, component, static_cast<Uint8*>(into));
            } else {
                put(samples, component, static_cast<Uint16*>(into));
            }
        }
    }

  private:
    /// Whether the attributes and the codestream, which contradict each other, mean different numbers. Unsigned samples
    /// of as many bits as the attributes say are their bits; some writers of signed pictures leave them so.
    bool isAmbiguous(std::span<const std::int32_t> samples) const {
        if (mIsSigned == mStated.isSigned) {
            return false;
        }
        const bool areBits = !mIsSigned && mPrecision >= mStated.bitsStored;
        const std::int32_t end = mIsSigned ? std::numeric_limits<std::int32_t>::max() : 1 << (mPrecision - 1);
        return !areBits &&
               std::any_of(samples.begin(), samples.end(), [&](auto sample) { return sample < 0 || sample >= end; });
    }

    bool exceedsStatedBits(std::span<const std::int32_t> samples) const {
        if (mIsSigned != mStated.isSigned || mPrecision <= mStated.bitsStored) {
            return false;
        }
        const std::int32_t end = 1 << (mIsSigned ? std::max(mStated.bitsStored, 1) - 1 : mStated.bitsStored);
        const std::int32_t start = mIsSigned ? -end : 0;
        return std::any_of(samples.begin(), samples.end(),
                           [&](std::int32_t sample) { return sample < start || sample >= end; });
    }

    /// Bits of signed samples are those of the two's complement, whatever is stored of them.
    template <typename Word>
    void put(std::span<const std::int32_t> samples, std::size_t component, Word* into) const {
        const std::size_t step = mStated.isByPlane ? 1 : mStated.samplesPerPixel;
        into += mStated.isByPlane ? component * samples.size() : component;
        for (const std::int32_t sample : samples) {
            *into = static_cast<Word>(sample);
            into += step;
        }
    }

    Stated mStated;
    std::vector<FrameFragments> mFrames;
    std::vector<Uint8> mJoined{};
    int mPrecision = 0;
    bool mIsSigned = false;
    bool mNeedsMoreBits = false;
};

OFCondition putNumber(DcmItem& item, const DcmTagKey& key, int value) {
    return item.putAndInsertUint16(key, static_cast<Uint16>(value));
}

/// Makes the attributes those of the decoded pixels.
OFCondition putAttributes(DcmItem& item, const Stated& stated, const FrameDecoder& decoder, bool mayBeLossy) {
    const int bits = 8 * static_cast<int>(decoder.bytesPerSample());
    OFCondition done = EC_Normal;
    const auto put = [&](bool isNeeded, auto action) { done = done.good() && isNeeded ? action() : done; };
    put(bits != stated.bitsAllocated, [&] { return putNumber(item, DCM_BitsAllocated, bits); });
    const bool needsMore = decoder.needsMoreBits();
    put(needsMore || stated.bitsStored > decoder.precision(),
        [&] { return putNumber(item, DCM_BitsStored, decoder.precision()); });
    put(needsMore || stated.highBit >= decoder.precision(),
        [&] { return putNumber(item, DCM_HighBit, decoder.precision() - 1); });
    put(stated.samplesPerPixel > 1, [&] { return putNumber(item, DCM_PlanarConfiguration, stated.isByPlane ? 1 : 0); });
    const std::string model = decodedModel(stated.colourModel);
    put(model != stated.colourModel,
        [&] { return item.putAndInsertString(DCM_PhotometricInterpretation, model.c_str()); });
    put(item.tagExists(DCM_NumberOfFrames) || stated.frames > 1,
        [&] { return item.putAndInsertString(DCM_NumberOfFrames, std::to_string(stated.frames).c_str()); });
    put(mayBeLossy && item.ident() == EVR_dataset,
        [&] { return item.putAndInsertString(DCM_LossyImageCompression, "01"); });
    return done;
}

class Jpeg2000Decoder : public DcmCodec {
  public:
    explicit Jpeg2000Decoder(E_TransferSyntax syntax) : mSyntax(syntax) {}

    OFBool canChangeCoding(E_TransferSyntax from, E_TransferSyntax to) const override {
        return from == mSyntax && DcmXfer(to).isNotEncapsulated() ? OFTrue : OFFalse;
    }

    OFCondition decode(const DcmRepresentationParameter* /*from*/, DcmPixelSequence* fragments,
                       DcmPolymorphOBOW& pixels, const DcmCodecParameter* /*parameter*/, const DcmStack& stack,
                       OFBool& removesFormer) const override try {
        removesFormer = OFTrue; // the attributes are those of the decoded pixels from here on
        DcmStack above(stack);
        (void)above.pop();
        auto* item = dynamic_cast<DcmItem*>(above.top());
        if (item == nullptr || fragments == nullptr) {
            return EC_InvalidTag;
        }
        Stated stated;
        if (const OFCondition done = read(*item, *fragments, stated); done.bad()) {
            return done;
        }
        FrameDecoder decoder(*item, *fragments, stated);
        decoder.prepare();
        const std::size_t size = decoder.frameSize() * stated.frames;
        if (size > std::numeric_limits<Uint32>::max() - 1) {
            throw Undecodable("its pixels are more than 4 GiB");
        }
        Uint16* words = nullptr;
        if (const OFCondition done = pixels.createUint16Array(static_cast<Uint32>((size + 1) / 2), words); done.bad()) {
            return done;
        }
        auto* bytes = reinterpret_cast<Uint8*>(words);
        bytes[size - 1 + size % 2] = 0; // the padding, where there is one
        for (std::size_t frame = 0; frame < stated.frames; ++frame) {
            decoder.decode(frame, bytes + frame * decoder.frameSize());
        }
        if (decoder.bytesPerSample() == 1) { // bytes in words
            (void)swapIfNecessary(gLocalByteOrder, EBO_LittleEndian, words, static_cast<Uint32>(size + size % 2), 2);
        }
        return putAttributes(*item, stated, decoder, mSyntax == EXS_JPEG2000);
    } catch (const Undecodable& problem) {
        return problem.condition();
    } catch (const std::bad_alloc&) {
        return outOfMemory();
    }

    OFCondition decodeFrame(const DcmRepresentationParameter* /*from*/, DcmPixelSequence* fragments,
                            const DcmCodecParameter* /*parameter*/, DcmItem* item, Uint32 frame, Uint32& startFragment,
                            void* buffer, Uint32 size, OFString& colourModel) const override try {
        Stated stated;
        if (item == nullptr || fragments == nullptr) {
            return EC_IllegalCall;
        }
        if (const OFCondition done = read(*item, *fragments, stated); done.bad()) {
            return done;
        }
        FrameDecoder decoder(*item, *fragments, stated);
        decoder.prepare();
        if (frame >= stated.frames || decoder.frameSize() > size) {
            return EC_IllegalCall;
        }
        ++startFragment; // of no use here: frames are found by their number
        colourModel = toOf(decodedModel(stated.colourModel));
        decoder.decode(frame, buffer);
        return EC_Normal;
    } catch (const Undecodable& problem) {
        return problem.condition();
    } catch (const std::bad_alloc&) {
        return outOfMemory();
    }

    OFCondition determineDecompressedColorModel(const DcmRepresentationParameter* /*from*/,
                                                DcmPixelSequence* /*fragments*/, const DcmCodecParameter* /*parameter*/,
                                                DcmItem* item, OFString& colourModel) const override {
        OFString model;
        if (item == nullptr || item->findAndGetOFString(DCM_PhotometricInterpretation, model).bad()) {
            return EC_MissingAttribute;
        }
        colourModel = toOf(decodedModel({model.data(), model.size()}));
        return EC_Normal;
    }

    // There is no encoder.

    OFCondition encode(const Uint16* /*pixels*/, Uint32 /*length*/, const DcmRepresentationParameter* /*parameter*/,
                       DcmPixelSequence*& /*fragments*/, const DcmCodecParameter* /*parameters*/, DcmStack& /*stack*/,
                       OFBool& /*removesFormer*/) const override {
        return EC_IllegalCall;
    }

    OFCondition encode(E_TransferSyntax /*from*/, const DcmRepresentationParameter* /*fromParameter*/,
                       DcmPixelSequence* /*fromFragments*/, const DcmRepresentationParameter* /*parameter*/,
                       DcmPixelSequence*& /*fragments*/, const DcmCodecParameter* /*parameters*/, DcmStack& /*stack*/,
                       OFBool& /*removesFormer*/) const override {
        return EC_IllegalCall;
    }

  private:
    E_TransferSyntax mSyntax;
};

/// DCMTK's list takes no decoder without one.
class NoParameter : public DcmCodecParameter {
  public:
    DcmCodecParameter* clone() const override { return new NoParameter; }
    const char* className() const override { return "NoParameter"; }
};

std::array<Jpeg2000Decoder, 2>& decoders() {
    static std::array<Jpeg2000Decoder, 2> all{Jpeg2000Decoder(EXS_JPEG2000LosslessOnly), Jpeg2000Decoder(EXS_JPEG2000)};
    return all;
}

} // namespace

void registerJpeg2000Decoders() {
    static const NoParameter none;
    for (const Jpeg2000Decoder& decoder : decoders()) {
        (void)DcmCodecList::registerCodec(&decoder, nullptr, &none);
    }
}

void cleanupJpeg2000Decoders() {
    for (const Jpeg2000Decoder& decoder : decoders()) {
        (void)DcmCodecList::deregisterCodec(&decoder);
    }
}

} // namespace radvex
