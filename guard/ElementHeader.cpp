#include "guard/ElementHeader.h"

#include <atomic>

#include "dcmtk/dcmdata/dcdicent.h"
#include "dcmtk/dcmdata/dcdict.h"

namespace radvex {

WrittenVr WrittenVrs::askDcmtk(std::uint8_t first, std::uint8_t second) {
    const std::array<char, 3> name{static_cast<char>(first), static_cast<char>(second), '\0'};
    const DcmVR vr(name.data());
    return {vr.getEVR(), vr.usesExtendedLengthEncoding() == OFTrue};
}

const WrittenVrs::Table& WrittenVrs::upperCase() {
    static const Table table = [] {
        Table vrs{};
        for (unsigned place = 0; place < vrs.size(); ++place) {
            const WrittenVr written = askDcmtk(static_cast<std::uint8_t>('A' + place / kLetters),
                                               static_cast<std::uint8_t>('A' + place % kLetters));
            vrs[place] = static_cast<std::uint8_t>(written.vr << 1 | (written.hasLongHeader ? 1 : 0));
        }
        return vrs;
    }();
    return table;
}

DictionaryVrs::~DictionaryVrs() {
    if (mDictionary != nullptr) {
        dcmDataDict.rdunlock();
    }
}

const DcmDataDictionary& DictionaryVrs::dictionary() {
    if (mDictionary == nullptr) {
        mDictionary = &dcmDataDict.rdlock();
    }
    return *mDictionary;
}

DcmEVR DictionaryVrs::of(TagNumber tag) {
    // A tag with its VR in one number, so that threads need no lock. Zero is an empty place.
    static std::array<std::atomic<std::uint64_t>, 4096> remembered{};
    std::atomic<std::uint64_t>& slot = remembered[(tag ^ tag >> 12 ^ tag >> 20) % remembered.size()];
    const std::uint64_t known = slot.load(std::memory_order_relaxed);
    if (known >> 32 == tag && (known & 0xFFFFFFFF) != 0) {
        return static_cast<DcmEVR>((known & 0xFFFFFFFF) - 1);
    }
    const DcmEVR vr = ofPrivate(tag, nullptr, EVR_UNKNOWN);
    slot.store(static_cast<std::uint64_t>(tag) << 32 | (static_cast<std::uint64_t>(vr) + 1), std::memory_order_relaxed);
    return vr;
}

DcmEVR DictionaryVrs::ofPrivate(TagNumber tag, const char* creator, DcmEVR otherwise) {
    const DcmTagKey key(static_cast<Uint16>(tag >> 16), elementNumber(tag));
    const DcmDictEntry* entry = dictionary().findEntry(key, creator);
    return entry == nullptr ? otherwise : entry->getEVR();
}

} // namespace radvex
