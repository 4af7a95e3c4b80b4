#include "guard/GuardedLoad.h"

#include <memory>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "guard/FileStream.h"
#include "guard/ParseGuard.h"
#include "guard/TransferSyntaxes.h"

namespace radvex {

namespace {

/// Reads the meta information before DCMTK does, and the dataset as JPEG 2000 where it states HTJ2K: DCMTK would take
/// it for uncompressed.
OFCondition parseHtj2k(DcmFileFormat& file, FileStream& stream, Uint32 maxReadLength) {
    const OFCondition meta = file.getMetaInfo()->read(stream, EXS_Unknown, EGL_noChange, maxReadLength);
    const char* syntax = nullptr;
    if (meta.good() && file.getMetaInfo()->findAndGetString(DCM_TransferSyntaxUID, syntax).good() &&
        syntax != nullptr && isHtj2k(syntax)) {
        return file.getDataset()->read(stream, transferSyntaxOf(syntax), EGL_noChange, maxReadLength);
    }
    return meta.bad() ? meta : file.read(stream, EXS_Unknown, EGL_noChange, maxReadLength);
}

OFCondition parse(DcmFileFormat& file, FileStream& stream, Uint32 maxReadLength, bool statesHtj2k) {
    if (const OFCondition cleared = file.clear(); cleared.bad()) {
        return cleared;
    }
    const E_FileReadMode formerMode = file.getReadMode();
    file.setReadMode(ERM_autoDetect);
    file.transferInit();
    const OFCondition loaded = statesHtj2k ? parseHtj2k(file, stream, maxReadLength)
                                           : file.read(stream, EXS_Unknown, EGL_noChange, maxReadLength);
    file.transferEnd();
    file.setReadMode(formerMode);
    return loaded;
}

std::optional<LoadFailure> load(DcmFileFormat& file, OpenFile& source, Uint32 maxReadLength) {
    const std::string reasonNotOpen = source.reasonNotOpen();
    if (!reasonNotOpen.empty() && !source.path().empty()) {
        // DCMTK would try again, and if that went well it would parse what nobody looked through.
        return LoadFailure{reasonNotOpen};
    }
    if (!source.isOpen()) { // no plain file, or no name: DCMTK says so
        const OFCondition loaded =
            file.loadFile(OFFilename(source.path().c_str(), OFTrue), EXS_Unknown, EGL_noChange, maxReadLength);
        return loaded.bad() ? std::optional(LoadFailure{loaded.text()}) : std::nullopt;
    }
    bool statesHtj2k = false;
    if (const auto reason = reasonNotToParse(source, {}, &statesHtj2k)) {
        return LoadFailure{*reason, true};
    }
    if (source.hasFailed()) { // what could not be looked through is not parsed either
        return LoadFailure{source.failure()};
    }
    FileStream stream(source);
    const OFCondition loaded = parse(file, stream, maxReadLength, statesHtj2k);
    // DCMTK may end well although a read failed: elements that it could not read would be missing. But what it makes of
    // a deflated stream that breaks between two elements is its own matter.
    if (source.hasFailed()) {
        return LoadFailure{source.failure()};
    }
    // What was looked through, and the parts that were parsed, have to be of one file.
    if (!source.source()->isUnchanged()) {
        return LoadFailure{source.failure()};
    }
    return loaded.bad() ? std::optional(LoadFailure{loaded.text()}) : std::nullopt;
}

/// Buffers of the last load, for the next one: the stack belongs to the parser, and for new ones of their
/// size the allocator would put the heap in order after every file.
std::unique_ptr<FileBuffers> spareBuffers;

} // namespace

std::optional<LoadFailure> loadGuarded(DcmFileFormat& file, const std::string& path, Uint32 maxReadLength,
                                       std::shared_ptr<SourceFile>* source) {
    auto buffers = spareBuffers ? std::move(spareBuffers) : std::make_unique<FileBuffers>();
    auto failure = [&] {
        OpenFile opened(path, *buffers);
        auto reason = load(file, opened, maxReadLength);
        if (source != nullptr) {
            *source = opened.source();
        }
        return reason;
    }();
    spareBuffers = std::move(buffers);
    return failure;
}

std::optional<LoadFailure> loadGuardedWhole(DcmFileFormat& file, const std::string& path) {
    // Long values come second, when it is known that the file is long enough for them.
    if (auto failure = loadGuarded(file, path)) {
        return failure;
    }
    const OFCondition loaded = file.loadAllDataIntoMemory();
    return loaded.bad() ? std::optional(LoadFailure{loaded.text()}) : std::nullopt;
}

} // namespace radvex
