#include "media/dicomdir/FileRecords.h"

#include <array>
#include <functional>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcddirif.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcistrmb.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcostrmb.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmdata/dcwcache.h"
#include "guard/GuardedLoad.h"
#include "media/dicomdir/RecordTypes.h"
#include "media/scan/FileDiagnosis.h"
#include "text/DatasetTexts.h"

namespace radvex::media {

namespace {

/// Moves the elements that the target does not have.
void moveElements(DcmItem& from, DcmItem& to) {
    while (from.card() > 0) {
        std::unique_ptr<DcmElement> element(from.remove(0UL));
        if (to.tagExists(element->getTag())) {
            continue;
        }
        if (to.insert(element.get()).bad()) {
            throw std::runtime_error("a record has an element that cannot be kept");
        }
        (void)element.release();
    }
}

/// The elements of a record as a dataset in Explicit VR Little Endian.
/// @throws std::runtime_error  part of a sentence: DCMTK cannot write them
std::string bytesOf(DcmDirectoryRecord& record) {
    DcmDataset elements;
    moveElements(record, elements);
    std::array<char, 4096> buffer{};
    DcmOutputBufferStream stream(buffer.data(), buffer.size());
    DcmWriteCache cache;
    std::string bytes;
    OFCondition written = EC_StreamNotifyClient;
    elements.transferInit();
    while (written == EC_StreamNotifyClient) { // the buffer is full
        written = elements.write(stream, EXS_LittleEndianExplicit, EET_ExplicitLength, &cache);
        stream.flush();
        void* part = nullptr;
        offile_off_t length = 0;
        stream.flushBuffer(part, length);
        bytes.append(static_cast<const char*>(part), static_cast<std::size_t>(length));
    }
    elements.transferEnd();
    if (written.bad()) {
        throw std::runtime_error(std::string("a record cannot be made of them: ") + written.text());
    }
    return bytes;
}

/// DCMTK throws out_of_range or length_error on some values.
std::string whyUnreadable(const std::exception& error) {
    return std::string("its values cannot be read: ") + error.what();
}

/// Composes records with DCMTK's interface, but outside of a directory: inside, DCMTK searches all records for every
/// file, which takes quadratic time.
class Describer : private DicomDirInterface {
  public:
    explicit Describer(const std::string& path) : mPath(path) {}

    using Complete = std::function<void(Describer&, FileDescription&)>;

    /// @param complete  adds what the description is for, once patient, study and series are known
    FileDescription describe(bool hasMark, const Complete& complete) {
        const auto failure = loadGuarded(mFile, mPath);
        if (failure && failure->isRefused) {
            return refusal(failure->reason);
        }
        if (!failure) {
            if (metaValue(DCM_MediaStorageSOPClassUID) == UID_MediaStorageDirectoryStorage) {
                return {FileDescription::NotForADirectory};
            }
            copyFromMeta(DCM_SOPClassUID, DCM_MediaStorageSOPClassUID);
            copyFromMeta(DCM_SOPInstanceUID, DCM_MediaStorageSOPInstanceUID);
        }
        if (!hasMark && (failure || value(DCM_SOPClassUID).empty())) {
            return {FileDescription::NotForADirectory};
        }
        return failure ? refusal(whyNotLoaded(mPath, failure->reason)) : describeLoaded(complete);
    }

    void addRecords(FileDescription& description, const FileDescription* before) {
        const std::string sopClass = value(DCM_SOPClassUID);
        const auto type = recordTypeOf(sopClass, mFile.getDataset()->tagExists(DCM_Rows));
        if (!type) {
            description = refusal("no directory lists its SOP class, " + sopClass);
            return;
        }
        if (metaValue(DCM_TransferSyntaxUID).empty()) { // a bare dataset
            mFile.validateMetaInfo(mFile.getDataset()->getOriginalXfer());
        }
        description.instanceType = *type;
        if (belongsToRoot(*type)) {
            description.instanceRecord = record(ERT_root, *type);
            return;
        }
        description.instanceRecord = record(ERT_Series, *type);
        addUpperRecords(description, before);
    }

    void addTexts(FileDescription& description) {
        DcmDataset texts;
        for (const DcmTagKey& key : {DCM_SpecificCharacterSet, DCM_PatientID, DCM_PatientName, DCM_StudyDate,
                                     DCM_StudyDescription, DCM_SeriesNumber, DCM_SeriesDescription, DCM_Modality}) {
            (void)mFile.getDataset()->findAndInsertCopyOfElement(key, &texts);
        }
        text::convertToUtf8(texts, text::OtherTexts::Convert);
        const auto text = [&](const DcmTagKey& key) {
            OFString whole;
            (void)texts.findAndGetOFStringArray(key, whole);
            return std::string(whole.c_str(), whole.size());
        };
        description.patientId = text(DCM_PatientID);
        description.patientName = text(DCM_PatientName);
        description.studyDate = text(DCM_StudyDate);
        description.studyDescription = text(DCM_StudyDescription);
        description.seriesNumber = text(DCM_SeriesNumber);
        description.seriesDescription = text(DCM_SeriesDescription);
        description.modality = text(DCM_Modality);
    }

  private:
    static FileDescription refusal(const std::string& reason) { return {FileDescription::Refused, reason}; }

    FileDescription describeLoaded(const Complete& complete) {
        const std::string sopClass = value(DCM_SOPClassUID);
        if (sopClass.empty()) {
            return refusal("it has no SOPClassUID");
        }
        if (value(DCM_SOPInstanceUID).empty()) {
            return refusal("it has no SOPInstanceUID");
        }
        FileDescription description;
        if (const auto type = recordTypeOf(sopClass, false); !type || !belongsToRoot(*type)) {
            for (const DcmTagKey& key : {DCM_StudyInstanceUID, DCM_SeriesInstanceUID}) {
                if (value(key).empty()) {
                    return refusal(std::string("it has no ") + DcmTag(key).getTagName());
                }
            }
            description.patientId = value(DCM_PatientID);
            description.patientName = value(DCM_PatientName);
            description.study = value(DCM_StudyInstanceUID);
            description.series = value(DCM_SeriesInstanceUID);
        }
        complete(*this, description);
        return description;
    }

    void addUpperRecords(FileDescription& description, const FileDescription* before) {
        const bool isSamePatient = before != nullptr && before->patientId == description.patientId &&
                                   before->patientName == description.patientName;
        const bool isSameStudy = isSamePatient && before->study == description.study;
        const bool isSameSeries = isSameStudy && before->series == description.series;
        try {
            // A file without PatientID may get its patient from its study, so a new study needs both records.
            description.patientRecord = isSameStudy ? "" : record(ERT_root, ERT_Patient);
            description.studyRecord = isSameStudy ? "" : record(ERT_Patient, ERT_Study);
            description.seriesRecord = isSameSeries ? "" : record(ERT_Study, ERT_Series);
        } catch (const std::exception& error) {
            description.reason = whyUnreadable(error);
        }
    }

    std::string record(E_DirRecType parent, E_DirRecType type) {
        const char* const anyFileId = "I0000000"; // DirectoryBuilder sets the right one
        DcmDirectoryRecord aside(parent, nullptr, OFFilename());
        DcmDirectoryRecord* const made = addRecord(&aside, type, &mFile, anyFileId, mPath.c_str());
        if (made == nullptr) {
            throw std::runtime_error("no " + std::string(recordTypeToName(type)) + " record can be made of them");
        }
        return bytesOf(*made);
    }

    std::string value(const DcmTagKey& key) { return valueOf(*mFile.getDataset(), key); }
    std::string metaValue(const DcmTagKey& key) { return valueOf(*mFile.getMetaInfo(), key); }
    static std::string valueOf(DcmItem& item, const DcmTagKey& key) {
        OFString text;
        return item.findAndGetOFString(key, text).good() ? std::string(text.c_str(), text.size()) : std::string();
    }

    /// Copies a value from the meta information if the dataset has none.
    void copyFromMeta(const DcmTagKey& key, const DcmTagKey& metaKey) {
        const std::string known = metaValue(metaKey);
        if (value(key).empty() && !known.empty()) {
            mFile.getDataset()->putAndInsertString(key, known.c_str());
        }
    }

    std::string mPath;
    DcmFileFormat mFile{};
};

} // namespace

namespace {

FileDescription describeAs(const std::string& path, bool hasMark, const Describer::Complete& complete) {
    try {
        return Describer(path).describe(hasMark, complete);
    } catch (const std::exception& error) {
        return {FileDescription::Refused, whyUnreadable(error)};
    }
}

} // namespace

FileDescription describeFile(const std::string& path, bool hasMark, const FileDescription* before) {
    return describeAs(path, hasMark, [before](Describer& describer, FileDescription& description) {
        describer.addRecords(description, before);
    });
}

FileDescription listFile(const std::string& path, bool hasMark) {
    return describeAs(path, hasMark,
                      [](Describer& describer, FileDescription& description) { describer.addTexts(description); });
}

std::unique_ptr<DcmDirectoryRecord> recordOfBytes(E_DirRecType type, const std::string& bytes) {
    DcmInputBufferStream stream;
    stream.setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
    stream.setEos();
    DcmDataset elements;
    elements.transferInit();
    const OFCondition read = elements.read(stream, EXS_LittleEndianExplicit, EGL_noChange);
    elements.transferEnd();
    if (read.bad()) {
        throw std::runtime_error(std::string("a record cannot be inserted: ") + read.text());
    }
    auto record = std::make_unique<DcmDirectoryRecord>(type, nullptr, OFFilename());
    moveElements(elements, *record);
    return record;
}

} // namespace radvex::media
