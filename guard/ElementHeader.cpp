#include "guard/ElementHeader.h"

#include <array>

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
        for (unsigned index = 0; index < vrs.size(); ++index) {
            const WrittenVr written = askDcmtk(static_cast<std::uint8_t>('A' + index / kLetters),
                                               static_cast<std::uint8_t>('A' + index % kLetters));
            vrs[index] = static_cast<std::uint8_t>(written.vr << 1 | (written.hasLongHeader ? 1 : 0));
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

DcmEVR DictionaryVrs::of(TagNumber tag) {
    struct Answer {
        TagNumber tag = 0;
        DcmEVR vr = EVR_UNKNOWN;
        bool isSet = false;
    };
    static std::array<Answer, 4096> remembered{}; // the host calls from one thread at a time
    Answer& answer = remembered[(tag ^ tag >> 12 ^ tag >> 20) % remembered.size()];
    if (!answer.isSet || answer.tag != tag) {
        answer = {tag, ofPrivate(tag, nullptr, EVR_UNKNOWN), true};
    }
    return answer.vr;
}

DcmEVR DictionaryVrs::ofPrivate(TagNumber tag, const char* creator, DcmEVR otherwise) {
    const DcmTagKey key(static_cast<Uint16>(tag >> 16), elementNumber(tag));
    if (mDictionary == nullptr) {
        mDictionary = &dcmDataDict.rdlock();
    }
    const DcmDictEntry* entry = mDictionary->findEntry(key, creator);
    return entry == nullptr ? otherwise : entry->getEVR();
}

} // namespace radvex
