#include "deidentify/rewriting/Identities.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/profile/ConfidentialityTable.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/UidKinds.h"

namespace radvex::deidentify {

namespace {

bool isId(const DcmTagKey& key) { return key == DCM_PatientID || key == DCM_StudyID; }

bool isUid(DcmElement& element) { return element.ident() == EVR_UI; }

/// Whether the value is an identifier that gets a new one: PatientID, StudyID, UIDs of instances.
bool isIdentifier(DcmElement& element) {
    const DcmTagKey key = element.getTag().getXTag();
    return (isId(key) && holdsText(element)) || (isUid(element) && !namesAKind(key));
}

std::string unpadded(const std::string& text) { return std::string(withoutPadding(text)); }

/// The parts of a text between separators. Empty parts are kept.
std::vector<std::string> split(const std::string& text, const char* separators) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = text.find_first_of(separators); end != std::string::npos;
         end = text.find_first_of(separators, begin)) {
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

/// Pixels and other long values, which are the same before and after.
bool isLong(DcmElement& element) {
    constexpr Uint32 kLong = 65536;
    return element.getLengthField() > kLong;
}

std::string shownValue(DcmElement& element) {
    if (holdsText(element)) {
        return unpadded(textOf(element));
    }
    OFString text;
    const bool isShown = asSequence(element) == nullptr && !isLong(element) && element.getOFStringArray(text).good();
    return isShown ? std::string(text.c_str(), text.size()) : std::string();
}

bool hasValue(DcmElement& element) {
    constexpr Uint32 kLongestText = 1U << 20; // a longer text counts as a value without being read
    if (DcmSequenceOfItems* sequence = asSequence(element)) {
        return sequence->card() > 0;
    }
    const Uint32 length = element.getLengthField();
    return length > 0 && (!holdsText(element) || length > kLongestText || !withoutPadding(textOf(element)).empty());
}

/// The private creator stands in the same item. Its element number is the first two digits of the attribute's.
std::string privateCreator(const Visit& visit) {
    const DcmTagKey key = visit.element.getTag().getXTag();
    const DcmTagKey creatorKey(key.getGroup(), static_cast<Uint16>(key.getElement() >> 8));
    DcmElement* creator = nullptr;
    const bool isKnown = visit.item.findAndGetElement(creatorKey, creator).good() && holdsText(*creator);
    return isKnown ? unpadded(textOf(*creator)) : "unknown";
}

/// Sequences in which nothing but UIDs identifies anybody, and these are new ones.
bool holdsReferences(const DcmTagKey& key) {
    static const std::set<DcmTagKey> keys{DCM_ReferencedStudySequence, DCM_ReferencedPatientSequence,
                                          DCM_ReferencedPerformedProcedureStepSequence, DCM_ReferencedImageSequence,
                                          DCM_SourceImageSequence};
    return keys.contains(key);
}

/// Whether the table of the profile has the attribute, or its type or place alone is dangerous.
bool mayIdentify(DcmElement& element) {
    constexpr Uint16 kMeta = 0x0002;
    constexpr Uint16 kOverlays = 0x6000;
    const DcmTagKey key = element.getTag().getXTag();
    const bool isOverlayText = (key.getGroup() & 0xFF00) == kOverlays &&
                               (key.getElement() == 0x0022 || key.getElement() == 0x1500); // description and label
    const bool isOfNetwork = key.getGroup() == kMeta &&
                             (element.ident() == EVR_AE || element.ident() == EVR_UR || key == DCM_PrivateInformation);
    const ConfidentialityRow* row = ConfidentialityTable::instance().find(key.getGroup(), key.getElement());
    const bool isInTable =
        row != nullptr && !key.isPrivate() && row->basic.front() != Action::NewUid && !holdsReferences(key);
    constexpr std::array kDangerous{EVR_DA, EVR_DT, EVR_PN, EVR_TM, EVR_UR};
    return isInTable || isOverlayText || isOfNetwork || std::ranges::count(kDangerous, element.ident()) > 0;
}

/// Everything but creators, which only say whose the values are, and the length of the group.
bool isPrivateValue(const DcmTagKey& key) {
    constexpr Uint16 kFirstCreator = 0x0010;
    constexpr Uint16 kFirstAfterCreators = 0x0100;
    const Uint16 element = key.getElement();
    return key.getGroup() % 2 == 1 && element != 0 && (element < kFirstCreator || element >= kFirstAfterCreators);
}

} // namespace

void Identities::add(Originals others) {
    mOriginals.newOf.merge(others.newOf);
    mOriginals.ids.merge(others.ids);
    mOriginals.names.merge(others.names);
}

void Identities::rememberNames(const std::string& value) {
    constexpr std::size_t kShortest = 4; // shorter ones are parts of too many words
    for (const std::string& part : split(value, "^= \\")) {
        if (part.size() >= kShortest) {
            mOriginals.names.insert(capitals(part));
        }
    }
}

std::string Identities::newValue(const DcmTagKey& key, const std::string& original) {
    const auto given = mGiven.find(key);
    const bool isGivenByUser = given != mGiven.end();
    std::string values;
    for (const std::string& part : isId(key) ? std::vector{original} : split(original, "\\")) {
        const std::string before = unpadded(part);
        const std::string after = isGivenByUser            ? given->second
                                  : isId(key)              ? mPseudonyms.id(nameOf(key), before)
                                  : isWellKnownUid(before) ? before
                                                           : mPseudonyms.uid(before);
        if (!before.empty() && before != after) {
            mOriginals.newOf.try_emplace(before, after);
            if (isId(key)) {
                mOriginals.ids.insert(before);
            }
        }
        values += (values.empty() ? "" : "\\") + after;
    }
    return isGivenByUser ? given->second : values;
}

void Identities::map(DcmFileFormat& original, DcmFileFormat& written) {
    remember(original);
    DcmDataset& dataset = *written.getDataset();
    walkElements(dataset, original.getDataset(), [this](const Visit& visit) {
        const DcmTagKey key = visit.element.getTag().getXTag();
        if (isIdentifier(visit.element)) {
            // The library made an ID that the original does not have.
            const bool isMade = visit.partner == nullptr && isId(key);
            DcmElement& before = visit.partner == nullptr ? visit.element : *visit.partner;
            putText(visit.element, newValue(key, isMade ? "" : textOf(before)));
        } else if (mGiven.contains(key)) {
            // Where a file does not tell the type, the library takes the given text for hexadecimal digits.
            if (holdsText(visit.element) && textOf(visit.element) != mGiven.at(key)) {
                putText(visit.element, mGiven.at(key));
            }
        } else if (isUid(visit.element) && visit.partner != nullptr) {
            putText(visit.element, textOf(*visit.partner));
        }
    });
    DcmMetaInfo& meta = *written.getMetaInfo();
    for (const auto& [key, value] : mGiven) {
        DcmElement* element = nullptr;
        if (key.getGroup() == 2 && meta.findAndGetElement(key, element).good() && holdsText(*element)) {
            putText(*element, value);
        }
    }
    DcmElement* instance = nullptr;
    if (meta.findAndGetElement(DCM_MediaStorageSOPInstanceUID, instance).good()) {
        OFString uid;
        const bool isKnown = dataset.findAndGetOFStringArray(DCM_SOPInstanceUID, uid).good() && !uid.empty();
        // The undefined key is one for which the user can give no value.
        putText(*instance,
                isKnown ? std::string(uid.c_str(), uid.size()) : newValue(DCM_UndefinedTagKey, textOf(*instance)));
    }
}

void Identities::remember(DcmFileFormat& original) {
    const auto look = [this](const Visit& visit) {
        const DcmTagKey key = visit.element.getTag().getXTag();
        if (isIdentifier(visit.element)) {
            (void)newValue(key, textOf(visit.element));
        } else if (key == DCM_PatientName || key == DCM_OtherPatientNames || key == DCM_PatientBirthName) {
            rememberNames(textOf(visit.element));
        }
    };
    walkElements(*original.getMetaInfo(), nullptr, look);
    walkElements(*original.getDataset(), nullptr, look);
}

bool Identities::isGiven(DcmElement& element) const {
    const auto given = mGiven.find(element.getTag().getXTag());
    return given != mGiven.end() &&
           (!holdsText(element) || withoutPadding(textOf(element)) == withoutPadding(given->second));
}

/// Whether an identifier still has an original value.
bool Identities::isOriginal(DcmElement& element) const {
    const std::string value = unpadded(textOf(element));
    return isId(element.getTag().getXTag()) ? mOriginals.ids.contains(value) : mOriginals.newOf.contains(value);
}

Leaks Identities::findLeaks(DcmFileFormat& file) const {
    Leaks leaks;
    // A directory needs keys for which its files may have no value. Then a value is invented: no given and no original
    // one.
    const bool isDirectory = file.getDataset()->tagExists(DCM_DirectoryRecordSequence);
    const auto look = [&](const Visit& visit) {
        DcmElement& element = visit.element;
        const DcmTagKey key = element.getTag().getXTag();
        if (!hasValue(element) || isGiven(element) || (isDirectory && mGiven.contains(key))) {
            return;
        }
        if (isPrivateValue(key)) {
            leaks.insert("private attributes of " + privateCreator(visit));
        } else if (isIdentifier(element) ? isOriginal(element) : mayIdentify(element)) {
            leaks.insert(nameOf(key));
        } else if (key == DCM_BurnedInAnnotation && withoutPadding(textOf(element)) == "YES") {
            leaks.insert("pixels (BurnedInAnnotation is YES)");
        }
    };
    walkElements(*file.getMetaInfo(), nullptr, look);
    walkElements(*file.getDataset(), nullptr, look);
    return leaks;
}

void collectChanges(DcmFileFormat& original, DcmFileFormat& changed, std::vector<Change>& changes) {
    const auto compare = [&](const Visit& visit) {
        if (visit.partner != nullptr && isLong(visit.element) && isLong(*visit.partner)) {
            return;
        }
        const std::string after = shownValue(visit.element);
        const std::string before = visit.partner == nullptr ? "" : shownValue(*visit.partner);
        if (after != before || (visit.partner == nullptr && asSequence(visit.element) == nullptr)) {
            changes.push_back({visit.path(), before, after});
        }
    };
    walkElements(*changed.getMetaInfo(), original.getMetaInfo(), compare);
    walkElements(*changed.getDataset(), original.getDataset(), compare);
}

} // namespace radvex::deidentify
