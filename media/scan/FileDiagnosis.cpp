#include "media/scan/FileDiagnosis.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "media/scan/ClassNames.h"
#include "media/scan/FileKinds.h"
#include "media/scan/FileStart.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

std::string tagText(std::uint32_t tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFFU);
    return text;
}

/// Where a file is cut, as a part of a sentence.
std::string placeOfCut(const DatasetScan& scan) {
    if (scan.isInMeta) {
        return ", in its meta information";
    }
    return scan.last.tag == 0               ? ""
           : scan.last.tag == kPixelDataTag ? ", in its pixels"
                                            : ", in " + tagText(scan.last.tag);
}

std::string whatIsNoDicom(const FileStart& start, const std::string& path) {
    if (start.bytes().empty()) {
        return "is not a DICOM file: it is empty";
    }
    const std::string kind = kindOfFile(start.bytes());
    if (!kind.empty()) {
        return "is not a DICOM file: it looks like " + kind;
    }
    if (std::ranges::all_of(start.bytes(), [](unsigned char byte) { return byte == 0; })) {
        return "is not a DICOM file: it begins with zeros only, as after an interrupted copy";
    }
    const std::string promise = start.brokenPromise(path);
    const bool lacksPreamble = promise.find("DICM") != std::string::npos;
    return "is not a DICOM file" + (lacksPreamble ? ": " + promise : std::string());
}

/// The system's view: whether there is a file that can be opened.
std::string whatTheSystemSays(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        std::error_code ignored;
        return fs::is_symlink(fs::symlink_status(path, ignored)) ? "is a link to a file that does not exist"
                                                                 : "does not exist";
    }
    if (status.type() == fs::file_type::directory) {
        return "is a folder: use `radvex series`, `radvex volume` or `radvex tags --recursive`";
    }
    return status.type() == fs::file_type::none ? "cannot be read: " + error.message() : "";
}

/// The guard's reasons, which say more than the end of the file would.
bool isOfTheGuard(std::string_view reason) {
    constexpr std::string_view kBeginnings[] = {"sequences nested over ",
                                                "directory records nested over ",
                                                "meta information that begins with ",
                                                "too many ",
                                                "over ",
                                                "inflated data over ",
                                                "the file became shorter",
                                                "the file was changed",
                                                "another file was put in its place"};
    return std::ranges::any_of(kBeginnings, [&](std::string_view words) { return reason.starts_with(words); });
}

/// What the library says behind the name of the file.
std::string_view reasonIn(std::string_view message, const std::string& path) {
    const std::size_t at = message.rfind(path + ": ");
    return at == std::string_view::npos ? message : message.substr(at + path.size() + 2);
}

bool isOfPixels(const velmora::LibraryError& error) {
    constexpr std::string_view kNames[] = {"ImageOpenError", "ImageReadError", "RawPixelReadError",
                                           "RawPixelCountError", "OverlayReadError"};
    return std::ranges::find(kNames, error.name()) != std::end(kNames);
}

} // namespace

std::string describeCut(const DatasetScan& scan) {
    return "is cut off at byte " + std::to_string(scan.size) + (scan.isAtLeast ? " of at least " : " of ") +
           std::to_string(scan.needed);
}

namespace {

std::string describeDamage(const DatasetScan& scan) {
    const bool isAtOnce = scan.damagedAt == scan.datasetOffset && !scan.transferSyntax.empty();
    return "is damaged at byte " + std::to_string(scan.damagedAt) +
           (isAtOnce
                ? ": its elements are not written in the form that its meta information names (TransferSyntaxUID " +
                      scan.transferSyntax + ")"
                : ": no element of DICOM can begin like that");
}

} // namespace

std::string whatIsWrong(const std::string& path) {
    if (std::string problem = whatTheSystemSays(path); !problem.empty()) {
        return problem;
    }
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        return ""; // a pipe or device is not opened
    }
    const FileStart start(path);
    if (!start.isRead()) {
        return "cannot be read: " + std::generic_category().message(start.reason());
    }
    if (!start.hasMark() && !start.mayBeBareDataset()) {
        return whatIsNoDicom(start, path);
    }
    const DatasetScan scan = scanDataset(path);
    switch (scan.end) {
    case DatasetScan::End::cut: return describeCut(scan) + placeOfCut(scan);
    case DatasetScan::End::damaged: return describeDamage(scan);
    default: return scan.isDeflated ? "is compressed as a whole (deflated), and ends too early or is damaged" : "";
    }
}

std::string whyNoPicture(const std::string& path) {
    const std::string syntax = undecodedSyntaxName(FileStart(path).transferSyntax());
    if (!syntax.empty()) {
        return "has pixels compressed with " + syntax +
               ", which cannot be decoded here: get an uncompressed copy, or decompress it with another program first";
    }
    const DatasetScan scan = scanDataset(path);
    if (scan.end == DatasetScan::End::cut) {
        return describeCut(scan) + (scan.facts.hasPixels ? placeOfCut(scan) : ", in front of its pixels");
    }
    if (scan.end != DatasetScan::End::whole || scan.facts.hasPixels) {
        return "";
    }
    const std::string name = instanceName(scan.facts.sopClass);
    if (scan.facts.rows > 0) {
        return "has no pixels" + (name.empty() ? "" : ", although it is " + name) + ": its end may be missing";
    }
    return "has no pixels" + (name.empty() ? "" : " (it is " + name + ")");
}

std::string whyNotLoaded(const std::string& path, const std::string& reason) {
    const std::string problem = isOfTheGuard(reason) ? "" : whatIsWrong(path);
    return problem.empty() ? "it cannot be read: " + reason : "it " + problem;
}

std::string sentenceAbout(const std::string& file, const std::string& reason) {
    const bool isNamed = reason.starts_with(file + ' ') || reason.starts_with(file + ':');
    const std::string sentence = isNamed                     ? reason
                                 : reason.starts_with("it ") ? file + reason.substr(2)
                                                             : file + ": " + reason;
    return sentence.ends_with('.') ? sentence : sentence + '.';
}

std::string explain(const velmora::LibraryError& error, const std::string& path, const std::string& shown) {
    const std::string message = error.what();
    std::string problem;
    if (isOfPixels(error)) {
        problem = whyNoPicture(path);
    } else if (error.name().starts_with("OpenFile") || error.name() == "PathNotValidated") {
        problem = isOfTheGuard(reasonIn(message, path)) ? "" : whatIsWrong(path);
    }
    return problem.empty() ? message : shown + ' ' + problem + '.';
}

} // namespace radvex::media
