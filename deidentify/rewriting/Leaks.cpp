#include "deidentify/rewriting/Leaks.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/ConfidentialAttributes.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::deidentify {

namespace {

constexpr Uint32 kLongestText = 1U << 20; // longer values are there for sure; nobody has to read them

bool hasValue(DcmElement& element) {
    if (DcmSequenceOfItems* sequence = asSequence(element)) {
        return sequence->card() > 0;
    }
    const Uint32 length = element.getLengthField();
    return length > 0 && (!holdsText(element) || length > kLongestText || !withoutPadding(textOf(element)).empty());
}

bool isGiven(const DcmTagKey& key, DcmElement& element, const GivenValues& given) {
    const auto value = given.find(key);
    return value != given.end() &&
           (!holdsText(element) || withoutPadding(textOf(element)) == withoutPadding(value->second));
}

/// The element that names who made a private attribute stands in the same item; its own number is the attribute's
/// first two digits.
std::string privateCreator(const Visit& visit) {
    const DcmTagKey key = visit.element.getTag().getXTag();
    const DcmTagKey creatorKey(key.getGroup(), static_cast<Uint16>(key.getElement() >> 8));
    DcmElement* creator = nullptr;
    const bool isKnown = visit.item.findAndGetElement(creatorKey, creator).good() && holdsText(*creator);
    return isKnown ? std::string(withoutPadding(textOf(*creator))) : "unknown";
}

bool isPrivateValue(const DcmTagKey& key) {
    constexpr Uint16 kFirstAfterCreators = 0x0100;
    return key.getGroup() % 2 == 1 && key.getElement() >= kFirstAfterCreators;
}

/// Values of an attribute that gets new ones: is one of them still the old?
bool isOriginal(const DcmTagKey& key, DcmElement& element, const Originals& originals) {
    const std::string value(withoutPadding(textOf(element)));
    const bool isId = key == DCM_PatientID || key == DCM_StudyID;
    return isId ? originals.ids.contains(value) : originals.newOf.contains(value);
}

bool saysBurnedIn(const DcmTagKey& key, DcmElement& element) {
    return key == DCM_BurnedInAnnotation && withoutPadding(textOf(element)) == "YES";
}

} // namespace

std::set<Leak> findLeaks(DcmFileFormat& file, const Originals& originals, const GivenValues& given) {
    std::set<Leak> leaks;
    // Keys that a directory needs and its files have no value for are invented: no longer the given value, nor the old.
    const bool isDirectory = file.getDataset()->tagExists(DCM_DirectoryRecordSequence);
    const auto look = [&](const Visit& visit) {
        DcmElement& element = visit.element;
        const DcmTagKey key = element.getTag().getXTag();
        if (!hasValue(element) || isGiven(key, element, given) || (isDirectory && given.contains(key))) {
            return;
        }
        if (isPrivateValue(key)) {
            leaks.insert({"private attributes of " + privateCreator(visit)});
        } else if (isIdentifier(element) ? isOriginal(key, element, originals)
                                         : isConfidential(key) || element.ident() == EVR_PN) {
            leaks.insert({nameOf(key)});
        } else if (saysBurnedIn(key, element)) {
            leaks.insert({"pixels (BurnedInAnnotation is YES)"});
        }
    };
    walkElements(*file.getMetaInfo(), nullptr, look);
    walkElements(*file.getDataset(), nullptr, look);
    return leaks;
}

} // namespace radvex::deidentify
