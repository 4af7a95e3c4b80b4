#include "media/dicomdir/DicomIo.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcostrma.h"
#include "dcmtk/dcmdata/dcwcache.h"
#include "guard/GuardedLoad.h"
#include "guard/TransferSyntaxes.h"
#include "media/scan/FileDiagnosis.h"

namespace radvex::media {

namespace {

using SeeBytes = std::function<void(std::string_view bytes)>;

[[noreturn]] void failToWrite(const std::string& why) { throw std::runtime_error("it cannot be written: " + why); }

std::string systemMessage() { return std::generic_category().message(errno != 0 ? errno : EIO); }

/// DCMTK's own file stream does not report a full disk.
class FileConsumer : public DcmConsumer {
  public:
    FileConsumer(std::FILE* file, const SeeBytes& see) : mFile(file), mSee(see) {}

    OFBool good() const override { return !mHasFailed; }
    OFCondition status() const override { return mHasFailed ? EC_InvalidStream : EC_Normal; }
    OFBool isFlushed() const override { return OFTrue; }
    offile_off_t avail() const override { return 1 << 20; }
    offile_off_t write(const void* bytes, offile_off_t length) override {
        const std::size_t written = std::fwrite(bytes, 1, static_cast<std::size_t>(length), mFile);
        mHasFailed = mHasFailed || written != static_cast<std::size_t>(length);
        if (mSee) {
            mSee({static_cast<const char*>(bytes), written});
        }
        return static_cast<offile_off_t>(written);
    }
    void flush() override {}

  private:
    std::FILE* mFile;
    const SeeBytes& mSee;
    bool mHasFailed = false;
};

class FileStream : public DcmOutputStream {
  public:
    explicit FileStream(FileConsumer& consumer) : DcmOutputStream(&consumer) {}
};

void require(const std::optional<LoadFailure>& failure, const std::string& path) {
    if (failure) {
        throw std::runtime_error(failure->isRefused ? failure->reason : whyNotLoaded(path, failure->reason));
    }
}

/// What the file says of its transfer syntax, where DCMTK would write that of JPEG 2000; empty otherwise.
std::string statedHtj2k(DcmFileFormat& file) {
    OFString stated;
    (void)file.getMetaInfo()->findAndGetOFString(DCM_TransferSyntaxUID, stated);
    const std::string uid(stated.data(), stated.size());
    return isHtj2k(uid) && transferSyntaxOf(uid) == file.getDataset()->getCurrentXfer() ? uid : "";
}

void write(DcmFileFormat& file, const std::string& path, const SeeBytes& see) {
    errno = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!out) {
        failToWrite(systemMessage());
    }
    FileConsumer consumer(out.get(), see);
    FileStream stream(consumer);
    DcmWriteCache cache;
    file.transferInit();
    const OFCondition written = file.write(stream, file.getDataset()->getCurrentXfer(), EET_UndefinedLength, &cache,
                                           EGL_recalcGL, EPD_noChange, 0, 0, 0, EWM_dontUpdateMeta);
    file.transferEnd();
    stream.flush();
    if (!consumer.good() || std::fflush(out.get()) != 0 || std::fclose(out.release()) != 0) {
        failToWrite(systemMessage());
    }
    if (written.bad()) {
        failToWrite(written.text());
    }
}

} // namespace

void loadDicom(DcmFileFormat& file, const std::string& path) { require(loadGuardedWhole(file, path), path); }

std::shared_ptr<SourceFile> loadDicomHead(DcmFileFormat& file, const std::string& path) {
    std::shared_ptr<SourceFile> source;
    require(loadGuarded(file, path, DCM_MaxReadLength, &source), path);
    return source;
}

void requireRead(SourceFile& source) {
    if (source.hasFailed() || !source.isUnchanged()) {
        throw std::runtime_error("it cannot be read: " + source.failure());
    }
}

void saveDicom(DcmFileFormat& file, const std::string& path, MetaInformation meta, const std::string& instance,
               const SeeBytes& see) {
    std::unique_ptr<DcmFileFormat> fresh;
    if (meta == MetaInformation::New) { // DCMTK keeps the preamble with the meta information
        const std::string htj2k = statedHtj2k(file);
        fresh = std::make_unique<DcmFileFormat>(file.getAndRemoveDataset(), OFFalse);
        DcmDataset& dataset = *fresh->getDataset();
        if (fresh->validateMetaInfo(dataset.getCurrentXfer(), EWM_createNewMeta).bad()) {
            failToWrite("its meta information cannot be made");
        }
        if (!htj2k.empty()) {
            (void)fresh->getMetaInfo()->putAndInsertString(DCM_TransferSyntaxUID, htj2k.c_str());
        }
        if (!instance.empty() && !dataset.tagExistsWithValue(DCM_SOPInstanceUID)) {
            (void)fresh->getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPInstanceUID, instance.c_str());
        }
    }
    DcmFileFormat& written = fresh ? *fresh : file;
    // DCMTK keeps the old length of the meta information, so readers would look for the dataset at a wrong offset.
    (void)written.getMetaInfo()->computeGroupLengthAndPadding(EGL_recalcGL, EPD_noChange, EXS_LittleEndianExplicit,
                                                              EET_UndefinedLength);
    write(written, path, see);
}

} // namespace radvex::media
