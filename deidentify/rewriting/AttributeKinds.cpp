#include "deidentify/rewriting/AttributeKinds.h"

#include <algorithm>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcdict.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

bool isOne(DcmEVR vr, std::initializer_list<DcmEVR> types) { return std::ranges::find(types, vr) != types.end(); }

} // namespace

bool isPrivateCreator(const DcmTagKey& key) {
    return key.getGroup() % 2 == 1 && key.getElement() >= 0x10 && key.getElement() <= 0xFF;
}

bool isOverlay(const DcmTagKey& key) { return (key.getGroup() & 0xFF00) == 0x6000 && key.getGroup() % 2 == 0; }

bool holdsPixels(DcmElement& element) {
    const DcmTagKey key = element.getTag().getXTag();
    return key.getGroup() == 0x7FE0 && !holdsText(element) && isKnownToDictionary(key);
}

bool isOfOtherPlaces(const DcmTagKey& key) {
    const Uint16 group = key.getGroup();
    return group == 0x0000 || group == 0x0002 || group == 0x0004;
}

bool isReadable(std::string_view text) {
    return std::ranges::none_of(text, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f';
    });
}

bool isDateOrTime(DcmEVR vr) { return isOne(vr, {EVR_DA, EVR_DT, EVR_TM}); }

bool isFreeText(DcmEVR vr) { return isOne(vr, {EVR_LO, EVR_LT, EVR_PN, EVR_SH, EVR_ST, EVR_UC, EVR_UR, EVR_UT}); }

bool isKnownToDictionary(const DcmTagKey& key) {
    const DcmDataDictionary& dictionary = dcmDataDict.rdlock();
    const bool isKnown = dictionary.findEntry(key, nullptr) != nullptr;
    dcmDataDict.rdunlock();
    return isKnown;
}

bool holdsCode(DcmItem& item, const DcmTagKey& key) {
    OFString scheme;
    return (key == DCM_CodeValue || key == DCM_LongCodeValue) &&
           item.findAndGetOFString(DCM_CodingSchemeDesignator, scheme).good() && !scheme.empty() &&
           scheme.compare(0, 2, "99") != 0;
}

bool holdsVocabulary(DcmItem& item, const DcmTagKey& key) {
    return (key == DCM_CodeMeaning && (holdsCode(item, DCM_CodeValue) || item.tagExists(DCM_URNCodeValue))) ||
           key == DCM_CodingSchemeDesignator || key == DCM_Manufacturer || key == DCM_ManufacturerModelName;
}

bool isKeptPrivate(DcmItem& item, const DcmTagKey& key, const std::set<KeptPrivate>& kept) {
    if (key.getGroup() % 2 == 0 || key.getElement() < 0x1000 || kept.empty()) {
        return false;
    }
    DcmElement* creator = nullptr;
    const DcmTagKey creatorKey(key.getGroup(), static_cast<Uint16>(key.getElement() >> 8));
    if (item.findAndGetElement(creatorKey, creator).bad() || creator == nullptr) {
        return false;
    }
    return kept.contains({std::string(withoutPadding(textOf(*creator))), key.getGroup(),
                          static_cast<std::uint8_t>(key.getElement() & 0xFF)});
}

std::set<Uint16> overlaysToKeep(DcmItem& item, const ProfileOptions& options) {
    std::set<Uint16> groups;
    for (Uint16 group = 0x6000; options.has(ProfileOption::Graphics) && group <= 0x601E; group += 2) {
        OFString type;
        if (item.findAndGetOFString(DcmTagKey(group, 0x0040), type).good() && type == "R") {
            groups.insert(group);
        }
    }
    return groups;
}

Action actionByType(DcmEVR vr, const ProfileOptions& options) {
    if (isDateOrTime(vr)) {
        return options.has(ProfileOption::FullDates)       ? Action::Keep
               : options.has(ProfileOption::ModifiedDates) ? Action::Clean
                                                           : Action::Dummy;
    }
    if (vr == EVR_UI) {
        return options.has(ProfileOption::Uids) ? Action::Keep : Action::NewUid;
    }
    return vr == EVR_PN || vr == EVR_UR ? Action::Dummy : Action::Keep;
}

} // namespace radvex::deidentify
