#include "deidentify/rewriting/Identities.h"

#include <algorithm>
#include <cctype>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/UidKinds.h"

namespace radvex::deidentify {

namespace {

bool isId(const DcmTagKey& key) { return key == DCM_PatientID || key == DCM_StudyID; }

bool isUid(DcmElement& element) { return element.ident() == EVR_UI; }

std::string trimmed(const std::string& text) { return std::string(withoutPadding(text)); }

/// The parts of a text between separators, those with nothing in them as well.
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

/// Pixels and the like, which no replacement touches.
bool isLong(DcmElement& element) {
    constexpr Uint32 kLong = 65536;
    return element.getLengthField() > kLong;
}

std::string shownValue(DcmElement& element) {
    if (holdsText(element)) {
        return trimmed(textOf(element));
    }
    OFString text;
    const bool isShown = asSequence(element) == nullptr && !isLong(element) && element.getOFStringArray(text).good();
    return isShown ? std::string(text.c_str(), text.size()) : std::string();
}

} // namespace

std::string capitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

bool isIdentifier(DcmElement& element) {
    const DcmTagKey key = element.getTag().getXTag();
    return (isId(key) && holdsText(element)) || (isUid(element) && !namesAKind(key));
}

void Identities::rememberIdentifier(const DcmTagKey& key, const std::string& value, const std::string& newValue) {
    if (value.empty() || value == newValue) {
        return;
    }
    mOriginals.newOf.try_emplace(value, newValue);
    if (isId(key)) {
        mOriginals.ids.insert(value);
    }
}

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

std::string Identities::newUids(const std::string& original, const std::string* given) {
    std::string values;
    for (const std::string& part : split(original, "\\")) {
        const std::string uid = trimmed(part);
        const std::string mapped = given != nullptr ? *given : isWellKnown(uid) ? uid : mPseudonyms.uid(uid);
        rememberIdentifier(DCM_UndefinedTagKey, uid, mapped);
        values += (values.empty() ? "" : "\\") + mapped;
    }
    return values;
}

std::string Identities::newValue(const DcmTagKey& key, const std::string& original) {
    const auto found = mGiven.find(key);
    const std::string* given = found == mGiven.end() ? nullptr : &found->second;
    if (!isId(key)) {
        std::string mapped = newUids(original, given);
        return given != nullptr ? *given : mapped;
    }
    const std::string value = trimmed(original);
    std::string mapped =
        given != nullptr ? *given : mPseudonyms.id(key == DCM_PatientID ? "PatientID" : "StudyID", value);
    rememberIdentifier(key, value, mapped);
    return mapped;
}

void Identities::map(DcmFileFormat& original, DcmFileFormat& written) {
    remember(original);
    DcmDataset& dataset = *written.getDataset();
    walkElements(dataset, original.getDataset(), [this](const Visit& visit) {
        const DcmTagKey key = visit.element.getTag().getXTag();
        if (isIdentifier(visit.element)) {
            // An ID without an original is one that the library made.
            const bool isMade = visit.partner == nullptr && isId(key);
            DcmElement& before = visit.partner == nullptr ? visit.element : *visit.partner;
            putText(visit.element, newValue(key, isMade ? "" : textOf(before)));
        } else if (mGiven.contains(key)) {
            // The library takes a text for hexadecimal digits where a file does not tell the type.
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
        putText(*instance, isKnown ? std::string(uid.c_str(), uid.size()) : newUids(textOf(*instance), nullptr));
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
