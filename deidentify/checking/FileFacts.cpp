#include "deidentify/checking/FileFacts.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/pixels/PixelCoding.h"
#include "deidentify/pixels/PixelLayout.h"
#include "deidentify/profile/ConfidentialityTable.h"
#include "deidentify/rewriting/AttributeKinds.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/IdentifierCollector.h"
#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

constexpr Uint32 kLongest = 1U << 16;

constexpr ValueHash kFirst = 0xCBF29CE484222325ULL; // FNV-1a
ValueHash mixed(ValueHash hash, std::string_view bytes) {
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3ULL;
    }
    return hash == 0 ? 1 : hash;
}

std::string textAt(DcmItem& item, const DcmTagKey& key) {
    OFString uid;
    (void)item.findAndGetOFString(key, uid);
    return std::string(withoutPadding({uid.c_str(), uid.size()}));
}

ValueHash hashAt(DcmItem& item, const DcmTagKey& key) { return hashOf(textAt(item, key)); }

/// Below the top of a dataset these name other instances.
bool isReference(const Visit& visit) {
    const DcmTagKey key = visit.element.getTag().getXTag();
    const bool isBelow = !visit.prefix.empty();
    return key == DCM_ReferencedSOPInstanceUID || key == DCM_ReferencedFrameOfReferenceUID ||
           (isBelow && (key == DCM_SeriesInstanceUID || key == DCM_StudyInstanceUID || key == DCM_FrameOfReferenceUID));
}

/// The path without the numbers of items: "ReferencedImageSequence.ReferencedSOPInstanceUID".
std::string placeOf(const Visit& visit) {
    std::string place;
    bool isNumber = false;
    for (const char character : visit.path()) {
        isNumber = character == '[' || (isNumber && character != ']');
        if (!isNumber && character != ']') {
            place += character;
        }
    }
    return place;
}

bool isChangeable(DcmElement& element) {
    const DcmTagKey key = element.getTag().getXTag();
    return element.ident() == EVR_PN || element.ident() == EVR_UR || isDateOrTime(element.ident()) ||
           isFreeText(element.ident()) ||
           ConfidentialityTable::instance().find(key.getGroup(), key.getElement()) != nullptr;
}

void addRecords(DcmDirectoryRecord& parent, const InstanceFacts& keys, int depth, std::vector<ListedRecord>& records) {
    constexpr int kDeepest = 8; // PS3.3, F.4: four levels
    for (unsigned long index = 0; depth < kDeepest && index < parent.cardSub(); ++index) {
        DcmDirectoryRecord& record = *parent.getSub(index);
        InstanceFacts below = keys;
        const auto take = [&](ValueHash& value, const DcmTagKey& key) {
            const ValueHash found = hashAt(record, key);
            value = found == 0 ? value : found;
        };
        take(below.patientId, DCM_PatientID);
        take(below.study, DCM_StudyInstanceUID);
        take(below.series, DCM_SeriesInstanceUID);
        take(below.instance, DCM_ReferencedSOPInstanceUIDInFile);
        OFString fileId;
        if (record.findAndGetOFStringArray(DCM_ReferencedFileID, fileId).good() && !fileId.empty()) {
            std::string path(fileId.c_str(), fileId.size());
            std::ranges::replace(path, '\\', '/');
            records.push_back({std::string(withoutPadding(path)), below});
        }
        addRecords(record, below, depth + 1, records);
    }
}

} // namespace

ValueHash hashOf(std::string_view text) { return text.empty() ? 0 : mixed(kFirst, text); }

ValueHash hashOf(const DcmTagKey& key, std::string_view value) {
    return mixed(mixed(kFirst, std::to_string(key.hash())), value);
}

std::vector<std::string> valuesAsText(DcmElement& element, const std::string& characterSet, TextDecoder& decoder) {
    if (element.getLengthField() == 0 || element.getLengthField() > kLongest || asSequence(element) != nullptr ||
        element.ident() == EVR_pixelSQ) {
        return {};
    }
    std::vector<std::string> values;
    OFString text;
    if (holdsText(element)) {
        values = valuesOf(decoder.utf8(element, characterSet), element.ident());
    } else if (element.getOFStringArray(text).good()) {
        values = {std::string(text.c_str(), text.size())};
    }
    std::erase(values, "");
    return values;
}

InstanceFacts factsOf(DcmDataset& dataset, TextDecoder& decoder) {
    InstanceFacts facts;
    facts.patient = hashOf(patientOf(dataset, decoder));
    facts.patientId = hashAt(dataset, DCM_PatientID);
    facts.study = hashAt(dataset, DCM_StudyInstanceUID);
    facts.series = hashAt(dataset, DCM_SeriesInstanceUID);
    facts.instance = hashAt(dataset, DCM_SOPInstanceUID);
    facts.frameOfReference = hashAt(dataset, DCM_FrameOfReferenceUID);
    std::set<Reference> references;
    walkElements(dataset, nullptr, [&](const Visit& visit) {
        if (isReference(visit)) {
            for (const std::string& uid : valuesOf(textOf(visit.element), EVR_UI)) {
                references.insert({hashOf(placeOf(visit)), hashOf(uid)});
            }
        }
    });
    references.erase(references.begin(), references.lower_bound({1, 0}));
    facts.references.assign(references.begin(), references.end());
    return facts;
}

ValueHash markOf(DcmDataset& dataset) {
    ValueHash hash = kFirst;
    bool hasTime = false;
    for (const DcmTagKey& key :
         {DCM_StudyTime, DCM_SeriesTime, DCM_AcquisitionTime, DCM_ContentTime, DCM_InstanceCreationTime,
          DCM_StructureSetTime, DCM_RTPlanTime, DCM_PerformedProcedureStepStartTime}) {
        const std::string time = textAt(dataset, key);
        hash = mixed(mixed(hash, time), "\\");
        hasTime = hasTime || time.find_first_not_of("0.") != std::string::npos;
    }
    for (const DcmTagKey& key : {DCM_Modality, DCM_SeriesNumber, DCM_InstanceNumber, DCM_ImagePositionPatient}) {
        OFString text;
        (void)dataset.findAndGetOFStringArray(key, text);
        hash = mixed(mixed(hash, {text.c_str(), text.size()}), "\\");
    }
    return hasTime ? hash : 0;
}

ValueHash hashOfDate(const DcmTagKey& key, std::string_view value, ValueHash mark) {
    constexpr std::size_t kWithSeconds = 14;
    const bool isMoment = value.size() >= kWithSeconds;
    return isMoment || mark != 0 ? mixed(hashOf(key, value), isMoment ? "moment" : std::to_string(mark)) : 0;
}

std::vector<ValueHash> changeableValues(DcmDataset& dataset, TextDecoder& decoder) {
    std::set<ValueHash> values;
    const std::string characterSet = characterSetOf(dataset, "");
    const ValueHash mark = markOf(dataset);
    walkElements(dataset, nullptr, [&](const Visit& visit) {
        if (isChangeable(visit.element) && visit.element.ident() != EVR_UI) {
            const std::string set = characterSetOf(visit.item, characterSet);
            for (const std::string& value : valuesAsText(visit.element, set, decoder)) {
                const DcmTagKey key = visit.element.getTag().getXTag();
                values.insert(hashOf(key, value));
                if (isDateOrTime(visit.element.ident())) {
                    values.insert(hashOfDate(key, value, mark));
                }
            }
        }
    });
    values.erase(0);
    return {values.begin(), values.end()};
}

bool hasShortPixels(DcmDataset& dataset) {
    try {
        DcmElement* const pixels = pixelElementOf(dataset);
        if (pixels == nullptr || isCompressed(dataset)) {
            return false;
        }
        const PixelLayout layout = pixelLayoutOf(dataset);
        const std::uint64_t bitsOfFrame = layout.samplesOfFrame() * layout.bitsAllocated;
        return layout.frames > std::uint64_t{pixels->getLengthField()} * 8 / bitsOfFrame;
    } catch (const std::runtime_error&) {
        return false; // of a kind whose length cannot be told
    }
}

std::vector<ListedRecord> recordsOf(const std::string& dicomdir) {
    DcmDicomDir medium(dicomdir.c_str());
    if (medium.error().bad()) {
        throw std::runtime_error(std::string("it cannot be read as a directory: ") + medium.error().text());
    }
    std::vector<ListedRecord> records;
    addRecords(medium.getRootRecord(), {}, 0, records);
    return records;
}

} // namespace radvex::deidentify
