#include <chrono>
#include <cstdio>
#include <set>

#include "dcmtk/dcmdata/dcvrui.h"
#include "tests/deidentify/RowSubjects.h"

namespace radvex::test {

namespace {

using Content = std::optional<std::string>;

/// A subject before and after a run.
struct Case {
    const RowSubject& subject;
    const Person& person;
    bool keepsUids;
    DcmItem& beforeItem;
    DcmItem& afterItem;
    Ledger& ledger;
    std::string before{};
    Content after{};

    bool has(const std::string& text) const { return after && after->find(text) != std::string::npos; }
    bool isHelix() const { return before.find("Helix ") != std::string::npos; }
};

std::string elementText(DcmItem& item, const DcmTagKey& sequence, const DcmTagKey& key) {
    DcmItem* content = nullptr;
    OFString text;
    return item.findAndGetSequenceItem(sequence, content, 0).good() &&
                   content->findAndGetOFStringArray(key, text).good()
               ? std::string(text.c_str())
               : std::string{};
}

/// Whether a value is one that its VR allows (PS3.5, section 6.2).
bool isValidValue(DcmItem& item, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    if (item.findAndGetElement(key, element).bad()) {
        return false;
    }
    return element->getVR() == EVR_SQ || element->checkValue("1-n").good();
}

/// Something else that is valid and holds no word of the original.
bool isDummy(const Case& one) {
    if (!one.after || one.after->empty() || *one.after == one.before || one.has(one.person.familyName)) {
        return false;
    }
    const bool isSequence = one.subject.vr == EVR_SQ;
    if (!isSequence && one.has(one.before)) {
        return false;
    }
    if (isSequence && !one.keepsUids &&
        one.has(elementText(one.beforeItem, one.subject.key, DCM_ReferencedSOPInstanceUID))) {
        return false;
    }
    char own[16];
    std::snprintf(own, sizeof own, "Row%04d", one.subject.index);
    return !one.has(own) && isValidValue(one.afterItem, one.subject.key);
}

long dayNumber(const std::string& date) {
    using namespace std::chrono;
    const year_month_day day{year{std::stoi(date.substr(0, 4))},
                             month{static_cast<unsigned>(std::stoi(date.substr(4, 2)))},
                             std::chrono::day{static_cast<unsigned>(std::stoi(date.substr(6, 2)))}};
    return sys_days{day}.time_since_epoch().count();
}

/// Shifted by as many whole days as every date of the person, at the same time of day.
bool isShifted(const Case& one) {
    if (!one.after || one.after->size() != one.before.size() || one.after->substr(8) != one.before.substr(8) ||
        one.after->find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const long offset = dayNumber(*one.after) - dayNumber(one.before);
    return offset != 0 && one.ledger.offsets.emplace(one.person.id, offset).first->second == offset;
}

/// The reference in the item of a sequence that stays.
bool isReferenceRight(const Case& one) {
    const std::string before = elementText(one.beforeItem, one.subject.key, DCM_ReferencedSOPInstanceUID);
    const std::string after = elementText(one.afterItem, one.subject.key, DCM_ReferencedSOPInstanceUID);
    return one.keepsUids ? before == after : isReplacedUid(before, after, one.ledger);
}

bool isKept(const Case& one) {
    if (one.subject.vr == EVR_SQ) {
        const std::string text = elementText(one.beforeItem, one.subject.key, DCM_TextValue);
        return one.has(one.isHelix() ? "Helix" : text) && isReferenceRight(one);
    }
    return one.isHelix() ? one.has("Helix") : one.after == one.before;
}

bool isCleanedDate(const Case& one) {
    switch (one.subject.vr) {
    case EVR_DA:
    case EVR_DT: return isShifted(one);
    case EVR_TM: return one.after == one.before;
    case EVR_SH: return !one.after || *one.after == one.before; // the offset from UTC tells no day
    default: return one.after != one.before;                    // signed or binary: no shifted one can be made
    }
}

bool isCleanedText(const Case& one) {
    switch (one.subject.vr) {
    case EVR_SQ: return one.has("Helix") && !one.has(one.person.familyName) && isReferenceRight(one);
    case EVR_OB:
    case EVR_OW: return !one.has(one.person.familyName); // nobody can tell words in bytes
    case EVR_AE:
    case EVR_CS: return one.after && !one.after->empty();
    default: return one.isHelix() ? one.has("Helix") && !one.has(one.person.familyName) : one.after.has_value();
    }
}

bool isCleaned(const Case& one) {
    const auto isGraphic = one.subject.row.options.contains("clean_graphics") && one.subject.vr != EVR_SQ;
    if (isGraphic && !one.after) {
        return true; // to leave a picture out is to clean it
    }
    return one.subject.row.options.contains("modified_dates") ? isCleanedDate(one) : isCleanedText(one);
}

bool isReferenceReplacedOrGone(const Case& one) {
    return !one.after || one.after->empty() ||
           isReplacedUid(elementText(one.beforeItem, one.subject.key, DCM_ReferencedSOPInstanceUID),
                         elementText(one.afterItem, one.subject.key, DCM_ReferencedSOPInstanceUID), one.ledger);
}

bool isRight(const std::string& letter, const Case& one) {
    if (letter == "X") {
        return !one.after;
    }
    if (letter == "Z") {
        return one.after && (one.after->empty() || isDummy(one));
    }
    if (letter == "D") {
        // A document may also be gone as a whole, and a committee's name with the number that it is required with.
        return isDummy(one) || (!one.after && (one.subject.key == DCM_EncapsulatedDocument ||
                                               one.subject.key == DCM_ClinicalTrialProtocolEthicsCommitteeName));
    }
    if (letter == "U") {
        return one.after && isReplacedUid(one.before, *one.after, one.ledger);
    }
    if (letter == "U*") {
        return one.keepsUids ? isReferenceRight(one) : isReferenceReplacedOrGone(one);
    }
    return letter == "K" ? isKept(one) : letter == "C" && isCleaned(one);
}

/// Dates of code tables and of machines are the same for many patients: moved with one, they would tell by how much.
bool isSharedDate(const RowSubject& subject) {
    static const std::set<DcmTagKey> keys{
        DcmTagKey(0x0008, 0x0106), DcmTagKey(0x0008, 0x0107), DcmTagKey(0x0040, 0xDB06), DcmTagKey(0x0040, 0xDB07),
        DcmTagKey(0x0014, 0x407E), DcmTagKey(0x0018, 0x1200), DcmTagKey(0x0018, 0x1202), DcmTagKey(0x0018, 0x1203),
        DcmTagKey(0x0018, 0x1204), DcmTagKey(0x0018, 0x1205), DcmTagKey(0x0018, 0x700C)};
    return keys.contains(subject.key);
}

std::string sentence(const Case& one, const std::string& wanted) {
    return one.subject.row.tag + ' ' + DcmVR(one.subject.vr).getVRName() + " wants " + wanted + ": '" + one.before +
           "' became " + (one.after ? '\'' + *one.after + '\'' : std::string("nothing"));
}

} // namespace

bool isReplacedUid(const std::string& before, const std::string& after, Ledger& ledger) {
    if (before.empty() || after.empty() || before == after || after.size() > 64 ||
        DcmUniqueIdentifier::checkStringValue(after.c_str(), "1").bad()) {
        return false;
    }
    return ledger.uids.emplace(before, after).first->second == after &&
           ledger.sourceOf.emplace(after, before).first->second == before;
}

std::string faultOf(const RowSubject& subject, const Person& person, const std::string& wanted, bool keepsUids,
                    DcmItem& before, DcmItem& after, Ledger& ledger) {
    const Case one{subject,
                   person,
                   keepsUids,
                   before,
                   after,
                   ledger,
                   contentOf(before, subject.key).value_or(""),
                   contentOf(after, subject.key)};
    std::string letters = wanted == "C" && isSharedDate(subject) ? "X/Z/D" : wanted;
    while (!letters.empty()) {
        const std::string letter = letters.substr(0, letters.find('/'));
        if (isRight(letter, one)) {
            return {};
        }
        letters.erase(0, letter.size() + (letters.size() > letter.size() ? 1 : 0));
    }
    return sentence(one, wanted);
}

} // namespace radvex::test
