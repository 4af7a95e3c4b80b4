#include "guard/pixels/FrameFragments.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "guard/pixels/EncodedPixels.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

std::uint64_t littleEndian(Bytes bytes) {
    std::uint64_t value = 0;
    for (std::size_t index = bytes.size(); index-- > 0;) {
        value = value << 8 | bytes[index];
    }
    return value;
}

/// The offsets of a table with entries of `size` bytes.
std::vector<std::uint64_t> offsetsIn(Bytes table, std::size_t size) {
    std::vector<std::uint64_t> offsets;
    for (std::size_t at = 0; at + size <= table.size(); at += size) {
        offsets.push_back(littleEndian(table.subspan(at, size)));
    }
    return offsets;
}

std::vector<std::uint64_t> basicOffsets(DcmPixelSequence& fragments) {
    DcmPixelItem* table = nullptr;
    return fragments.getItem(table, 0).good() && table != nullptr ? offsetsIn(bytesOfFragment(*table), 4)
                                                                  : std::vector<std::uint64_t>();
}

std::vector<std::uint64_t> extendedOffsets(DcmItem& item) {
    DcmElement* element = nullptr;
    Uint64* entries = nullptr;
    const bool isThere = item.findAndGetElement(DCM_ExtendedOffsetTable, element).good() &&
                         element->getUint64Array(entries).good() && entries != nullptr;
    return isThere ? std::vector<std::uint64_t>(entries, entries + element->getLength() / sizeof(Uint64))
                   : std::vector<std::uint64_t>();
}

/// Positions of the fragments that start at the offsets; nothing unless these are the starts of fragments, in order,
/// from the first one on.
std::optional<std::vector<std::size_t>> startsAt(const std::vector<std::uint64_t>& offsets, const FrameFragments& all) {
    constexpr std::uint64_t kItemHeader = 8;
    std::vector<std::size_t> starts;
    std::uint64_t offset = 0;
    for (std::size_t index = 0; index < all.size() && starts.size() < offsets.size(); ++index) {
        if (offset == offsets[starts.size()]) {
            starts.push_back(index);
        }
        offset += kItemHeader + all[index]->getLength();
    }
    const bool areAll = !offsets.empty() && starts.size() == offsets.size() && starts.front() == 0;
    return areAll ? std::optional(std::move(starts)) : std::nullopt;
}

bool startsCodestream(DcmPixelItem& fragment) {
    constexpr Uint8 kCodestream[] = {0xFF, 0x4F, 0xFF, 0x51};
    constexpr Uint8 kJp2File[] = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
    const Bytes bytes = bytesOfFragment(fragment);
    const auto startsWith = [&](Bytes start) {
        return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
    };
    return startsWith(kCodestream) || startsWith(kJp2File);
}

std::vector<std::size_t> startsOfCodestreams(const FrameFragments& all) {
    std::vector<std::size_t> starts;
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (startsCodestream(*all[index])) {
            starts.push_back(index);
        }
    }
    return starts;
}

std::vector<FrameFragments> cutAt(const std::vector<std::size_t>& starts, const FrameFragments& all) {
    std::vector<FrameFragments> frames;
    for (std::size_t index = 0; index < starts.size(); ++index) {
        const auto end = index + 1 < starts.size() ? starts[index + 1] : all.size();
        frames.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(starts[index]),
                            all.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return frames;
}

} // namespace

std::vector<FrameFragments> fragmentsOfFrames(DcmItem& item, DcmPixelSequence& fragments, std::size_t frames) {
    FrameFragments all;
    forEachFragment(fragments, [&](DcmPixelItem& fragment) { all.push_back(&fragment); });
    const std::size_t count = std::min(std::max<std::size_t>(frames, 1), all.size());
    if (count <= 1) {
        return all.empty() ? std::vector<FrameFragments>() : std::vector<FrameFragments>{all};
    }
    if (count == all.size()) {
        std::vector<FrameFragments> each;
        for (DcmPixelItem* fragment : all) {
            each.push_back({fragment});
        }
        return each;
    }
    for (const auto& offsets : {basicOffsets(fragments), extendedOffsets(item)}) {
        if (const auto starts = startsAt(offsets, all); starts && starts->size() == count) {
            return cutAt(*starts, all);
        }
    }
    const auto starts = startsOfCodestreams(all);
    return starts.size() == count && starts.front() == 0 ? cutAt(starts, all) : std::vector<FrameFragments>();
}

std::span<const Uint8> bytesOfFragment(DcmPixelItem& fragment) {
    Uint8* bytes = nullptr;
    return fragment.getUint8Array(bytes).good() && bytes != nullptr ? Bytes(bytes, fragment.getLength()) : Bytes();
}

std::span<const Uint8> bytesOfFrame(const FrameFragments& frame, std::vector<Uint8>& joined) {
    if (frame.size() == 1) {
        return bytesOfFragment(*frame.front());
    }
    joined.clear();
    for (DcmPixelItem* fragment : frame) {
        const Bytes bytes = bytesOfFragment(*fragment);
        if (bytes.data() == nullptr && fragment->getLength() > 0) {
            return {};
        }
        joined.insert(joined.end(), bytes.begin(), bytes.end());
    }
    return joined;
}

} // namespace radvex
