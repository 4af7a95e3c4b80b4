#include "deidentify/pixels/Masking.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "deidentify/pixels/BlankValue.h"
#include "deidentify/pixels/MaskedArea.h"
#include "deidentify/pixels/OverlayBits.h"
#include "deidentify/pixels/OverlayPlanes.h"
#include "deidentify/pixels/PixelCoding.h"
#include "deidentify/pixels/PixelLayout.h"

namespace radvex::deidentify {

namespace {

/// What is written over the samples of a run: values in turn, already at their bits.
struct Ink {
    std::vector<std::uint64_t> values{};
    std::uint64_t mask = 0; ///< the bits that are written
};

template <typename Word>
void fillWords(std::span<Uint8> bytes, std::uint64_t first, std::uint64_t count, const Ink& ink) {
    const std::span<Uint8> run =
        bytes.subspan(static_cast<std::size_t>(first * sizeof(Word)), static_cast<std::size_t>(count * sizeof(Word)));
    const Word mask = static_cast<Word>(ink.mask);
    std::size_t turn = 0;
    for (std::size_t at = 0; at < run.size(); at += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, run.data() + at, sizeof word);
        word = static_cast<Word>((word & static_cast<Word>(~mask)) | (static_cast<Word>(ink.values[turn]) & mask));
        std::memcpy(run.data() + at, &word, sizeof word);
        turn = turn + 1 == ink.values.size() ? 0 : turn + 1;
    }
}

void fillBits(std::span<Uint8> bytes, std::uint64_t first, std::uint64_t count, const Ink& ink) {
    for (std::uint64_t bit = first; bit < first + count; ++bit) {
        Uint8& byte = bytes[static_cast<std::size_t>(bit / 8)];
        const unsigned place = 1U << (bit % 8);
        byte = static_cast<Uint8>(ink.values.front() != 0 ? byte | place : byte & ~place);
    }
}

/// @param first, count  in samples
void fill(std::span<Uint8> bytes, unsigned bits, std::uint64_t first, std::uint64_t count, const Ink& ink) {
    switch (bits) {
    case 1: fillBits(bytes, first, count, ink); break;
    case 8: fillWords<std::uint8_t>(bytes, first, count, ink); break;
    case 16: fillWords<std::uint16_t>(bytes, first, count, ink); break;
    case 32: fillWords<std::uint32_t>(bytes, first, count, ink); break;
    default: fillWords<std::uint64_t>(bytes, first, count, ink); break;
    }
}

/// Raw pixels while a rule is applied to them.
class Canvas {
  public:
    Canvas(DcmItem& dataset, const MaskRule& rule)
        : mLayout(pixelLayoutOf(dataset)), mBytes(rawBytes(*pixelElementOf(dataset))) {
        const std::span<Uint8> frames = bytesOfFrames(mBytes, mLayout);
        std::fill(mBytes.begin() + static_cast<std::ptrdiff_t>(frames.size()), mBytes.end(), Uint8{0});
        const std::vector<std::uint64_t> pixel = blankPixel(dataset, mLayout, rule.fill);
        const std::uint64_t overlays = mLayout.samples == 1 ? claimedOverlayBits(dataset) : 0;
        mInk.mask = mLayout.storedMask() | overlays;
        for (const std::uint64_t value : pixel) {
            mInk.values.push_back(value << mLayout.lowBit & mLayout.storedMask());
        }
        if (mLayout.sharesColours) {
            mInk.values.insert(mInk.values.begin(), mInk.values.front());
        }
    }

    const PixelLayout& layout() const { return mLayout; }

    void blank(std::uint32_t row, Span span) {
        for (std::uint64_t frame = 0; frame < mLayout.frames; ++frame) {
            if (mLayout.isByPlane) {
                blankInPlanes(frame, row, span);
            } else {
                blankPixels(frame, row, span);
            }
        }
    }

  private:
    void blankPixels(std::uint64_t frame, std::uint32_t row, Span span) {
        if (mLayout.sharesColours) { // whole pairs
            span.begin -= span.begin % 2;
            span.end += span.end % 2;
        }
        const std::uint64_t perPixel = mLayout.sharesColours ? 2 : mLayout.samples;
        const std::uint64_t line = (frame * mLayout.rows + row) * mLayout.columns;
        fill(mBytes, mLayout.bitsAllocated, (line + span.begin) * perPixel,
             std::uint64_t{span.end - span.begin} * perPixel, mInk);
    }

    void blankInPlanes(std::uint64_t frame, std::uint32_t row, Span span) {
        for (unsigned sample = 0; sample < mLayout.samples; ++sample) {
            const std::uint64_t plane = frame * mLayout.samples + sample;
            const std::uint64_t line = (plane * mLayout.rows + row) * mLayout.columns;
            fill(mBytes, mLayout.bitsAllocated, line + span.begin, span.end - span.begin,
                 {{mInk.values[sample]}, mInk.mask});
        }
    }

    PixelLayout mLayout;
    std::span<Uint8> mBytes;
    Ink mInk{};
};

void apply(const MaskRule& rule, DcmDataset& dataset) {
    Canvas canvas(dataset, rule);
    const MaskedArea area(rule, dataset, canvas.layout().rows, canvas.layout().columns);
    for (std::uint32_t row = 0; row < area.rows(); ++row) {
        for (const Span& span : area.spansOfRow(row)) {
            canvas.blank(row, span);
        }
    }
    blankOverlayPlanes(dataset, area);
}

void applyAll(const std::vector<const MaskRule*>& rules, DcmDataset& dataset) {
    for (const MaskRule* rule : rules) {
        try {
            apply(*rule, dataset);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(std::string(error.what()) + " (rule " + std::to_string(rule->number) + ')');
        }
    }
}

void maskPixels(DcmFileFormat& file, const std::vector<const MaskRule*>& rules) {
    DcmDataset& dataset = *file.getDataset();
    // First, because decoding would go on to the pixels of icons.
    (void)dataset.findAndDeleteElement(DCM_IconImageSequence, OFTrue, OFTrue);
    if (!isCompressed(dataset)) {
        applyAll(rules, dataset);
        return;
    }
    const E_TransferSyntax before = decodePixels(dataset);
    applyAll(rules, dataset);
    encodePixels(dataset, before);
    const DcmXfer syntax(dataset.getCurrentXfer());
    if (file.getMetaInfo()->putAndInsertString(DCM_TransferSyntaxUID, syntax.getXferID()).bad()) {
        throw std::runtime_error("its meta information cannot be changed");
    }
}

} // namespace

bool mask(DcmFileFormat& file, const MaskRules& rules) {
    DcmDataset& dataset = *file.getDataset();
    const std::vector<const MaskRule*> matching = rules.matching(dataset);
    if (matching.empty()) {
        return false;
    }
    try {
        if (pixelElementOf(dataset) == nullptr) {
            return false;
        }
        maskPixels(file, matching);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("it cannot be masked, because ") + error.what());
    }
    const bool claimsNoText =
        std::any_of(matching.begin(), matching.end(), [](const MaskRule* rule) { return rule->claimsNoText; });
    if (claimsNoText) {
        (void)dataset.putAndInsertString(DCM_BurnedInAnnotation, "NO");
    }
    return true;
}

} // namespace radvex::deidentify
