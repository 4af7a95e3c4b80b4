#include "tests/deidentify/RowSubjects.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace radvex::test {

namespace {

/// Value representations of rows that the dictionary may be too old for (PS3.6).
const std::map<std::string, DcmEVR> kYoungAttributes{
    {"0008,0017", EVR_UI}, {"0008,0019", EVR_UI}, {"0008,1088", EVR_LO}, {"0012,0022", EVR_LO}, {"0012,0023", EVR_SQ},
    {"0012,0032", EVR_LO}, {"0012,0041", EVR_LO}, {"0012,0043", EVR_LO}, {"0012,0055", EVR_LO}, {"0012,0073", EVR_LO},
    {"0018,1204", EVR_DA}, {"0018,1205", EVR_DA}, {"0020,0027", EVR_LO}, {"003A,0329", EVR_LO}, {"003A,032B", EVR_LO},
    {"3002,0121", EVR_LO}, {"3002,0123", EVR_ST}, {"3006,002D", EVR_DT}, {"3006,002E", EVR_DT}, {"3006,004D", EVR_SQ},
    {"3006,004E", EVR_SQ},
};

DcmTagKey keyOf(const std::string& tag) {
    const auto number = [&](std::size_t start) {
        return static_cast<Uint16>(std::stoul(tag.substr(start, 4), nullptr, 16));
    };
    return {number(0), number(5)};
}

std::string spelled(const char* format, int number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

/// One of 84 * 28 days from 1920 on.
std::string dayOf(int index) { return std::to_string(1920 + index / 28 % 84) + "07" + spelled("%02d", 1 + index % 28); }

std::string timeOf(int index) { return spelled("%02d", 1 + index / 50 % 20) + spelled("%02d", 1 + index % 50) + "17"; }

bool isText(DcmEVR vr) {
    return vr == EVR_LO || vr == EVR_LT || vr == EVR_SH || vr == EVR_ST || vr == EVR_UC || vr == EVR_UT;
}

bool isCleanable(const RowSubject& subject) {
    for (const auto& [column, action] : subject.row.options) {
        if (action == "C" && (isText(subject.vr) || subject.vr == EVR_SQ || subject.vr == EVR_OB) &&
            column != "modified_dates" && column != "retain_safe_private") {
            return true;
        }
    }
    return false;
}

std::string uidOf(const RowSubject& subject, const Person& person) {
    return "1.2.826.0.1.99." + std::to_string(person.number) + '.' + std::to_string(subject.index + 1);
}

std::string referenceOf(const RowSubject& subject, const Person& person) {
    return "1.2.826.0.1.98." + std::to_string(person.number) + '.' + std::to_string(subject.index + 1);
}

std::string textFor(const RowSubject& subject, const Person& person) {
    return isCleanable(subject) ? "Helix " + person.familyName : spelled("Row%04d", subject.index);
}

std::string valueFor(const RowSubject& subject, const Person& person) {
    const int index = subject.index;
    if (subject.key == DCM_PatientID) {
        return person.id;
    }
    if (subject.key == DCM_PatientName) {
        return person.familyName + '^' + person.givenName;
    }
    switch (subject.vr) {
    case EVR_PN: return spelled("Nam%04d", index) + spelled("^Vor%04d", index);
    case EVR_UI: return uidOf(subject, person);
    case EVR_DA: return dayOf(index);
    case EVR_TM: return timeOf(index);
    case EVR_DT: return dayOf(index) + timeOf(index);
    case EVR_AS: return spelled("%03dY", 20 + index % 50);
    case EVR_AE:
    case EVR_CS: return spelled("ROW%04d", index);
    case EVR_DS:
    case EVR_IS:
    case EVR_US: return std::to_string(1000 + index);
    case EVR_UR: return spelled("http://row%04d.example", index);
    default: return textFor(subject, person);
    }
}

void putBytes(DcmItem& item, const RowSubject& subject, std::string bytes) {
    bytes.resize((bytes.size() + 1) / 2 * 2);
    auto element = std::make_unique<DcmOtherByteOtherWord>(DcmTag(subject.key, DcmVR(subject.vr)));
    OFCondition isPut;
    if (subject.vr == EVR_OW) {
        std::vector<Uint16> words(bytes.size() / 2);
        std::memcpy(words.data(), bytes.data(), bytes.size());
        isPut = element->putUint16Array(words.data(), static_cast<unsigned long>(words.size()));
    } else {
        const std::vector<Uint8> values(bytes.begin(), bytes.end());
        isPut = element->putUint8Array(values.data(), static_cast<unsigned long>(values.size()));
    }
    if (isPut.bad() || item.insert(element.get(), true).bad()) {
        throw std::runtime_error("Cannot put " + subject.row.tag);
    }
    (void)element.release();
}

void putSequence(DcmItem& item, const RowSubject& subject, const Person& person) {
    auto content = std::make_unique<DcmItem>();
    put(*content, {{DCM_ReferencedSOPClassUID, UID_CTImageStorage},
                   {DCM_ReferencedSOPInstanceUID, referenceOf(subject, person)},
                   {DCM_CodeValue, spelled("C%04d", subject.index)},
                   {DCM_CodingSchemeDesignator, "99TEST"},
                   {DCM_CodeMeaning, spelled("Code%04d", subject.index)},
                   {DCM_TextValue, textFor(subject, person)}});
    auto sequence = std::make_unique<DcmSequenceOfItems>(DcmTag(subject.key, DcmVR(EVR_SQ)));
    if (sequence->append(content.get()).good()) {
        (void)content.release();
    }
    if (item.insert(sequence.get(), true).bad()) {
        throw std::runtime_error("Cannot put " + subject.row.tag);
    }
    (void)sequence.release();
}

std::string contentOf(DcmElement& element);

std::string contentOfItems(DcmSequenceOfItems& sequence) {
    std::string content;
    for (unsigned long index = 0; index < sequence.card(); ++index) {
        DcmItem& item = *sequence.getItem(index);
        for (unsigned long position = 0; position < item.card(); ++position) {
            content += contentOf(*item.getElement(position)) + '|';
        }
    }
    return content;
}

std::string contentOf(DcmElement& element) {
    if (auto* sequence = dynamic_cast<DcmSequenceOfItems*>(&element)) {
        return contentOfItems(*sequence);
    }
    Uint8* bytes = nullptr;
    const DcmEVR vr = element.getVR();
    if ((vr == EVR_OB || vr == EVR_UN) && element.getUint8Array(bytes).good() && bytes != nullptr) {
        return {reinterpret_cast<const char*>(bytes), element.getLength()};
    }
    Uint16* words = nullptr;
    if (vr == EVR_OW && element.getUint16Array(words).good() && words != nullptr) {
        return {reinterpret_cast<const char*>(words), element.getLength()};
    }
    OFString text;
    return element.getOFStringArray(text).good() ? std::string(text.c_str(), text.size()) : std::string{};
}

/// The keys of a row: several for a pattern.
std::vector<std::pair<DcmTagKey, DcmEVR>> keysOf(const std::string& tag) {
    if (tag == "50XX,XXXX") {
        return {{{0x5000, 0x2500}, EVR_LO}, {{0x5002, 0x3000}, EVR_OW}};
    }
    if (tag == "60XX,3000" || tag == "60XX,4000") {
        const DcmEVR vr = tag == "60XX,3000" ? EVR_OW : EVR_LT;
        const Uint16 element = tag == "60XX,3000" ? 0x3000 : 0x4000;
        return {{{0x6000, element}, vr}, {{0x6016, element}, vr}};
    }
    if (tag == "GGGG,EEEE") {
        return {{{0x0029, 0x0010}, EVR_LO},
                {{0x0029, 0x1001}, EVR_LO},
                {{0x7FE1, 0x0010}, EVR_LO},
                {{0x7FE1, 0x1002}, EVR_OB}};
    }
    const DcmTagKey key = keyOf(tag);
    const DcmEVR vr = DcmTag(key).getEVR();
    const auto young = kYoungAttributes.find(tag);
    return {{key, young == kYoungAttributes.end() ? vr : young->second}};
}

} // namespace

std::vector<RowSubject> rowSubjects() {
    std::vector<RowSubject> subjects;
    for (const ConfidentialityRow& row : confidentialityRows()) {
        for (const auto& [key, vr] : keysOf(row.tag)) {
            subjects.push_back({row, key, vr, static_cast<int>(subjects.size())});
        }
    }
    return subjects;
}

void putOriginal(DcmItem& item, const RowSubject& subject, const Person& person) {
    if (subject.vr == EVR_SQ) {
        return putSequence(item, subject, person);
    }
    if (subject.vr == EVR_OB || subject.vr == EVR_OW || subject.vr == EVR_UN) {
        return putBytes(item, subject, valueFor(subject, person));
    }
    if (item.putAndInsertString(DcmTag(subject.key, DcmVR(subject.vr)), valueFor(subject, person).c_str()).bad()) {
        throw std::runtime_error("Cannot put " + subject.row.tag);
    }
}

std::optional<std::string> contentOf(DcmItem& item, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    if (item.findAndGetElement(key, element).bad() || element == nullptr) {
        return std::nullopt;
    }
    return contentOf(*element);
}

} // namespace radvex::test
