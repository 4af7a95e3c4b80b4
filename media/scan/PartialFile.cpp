#include "media/scan/PartialFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "files/Errors.h"
#include "files/StagingFolder.h"

namespace radvex::media {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

const char* const kShownAsZero = " missing and shown as 0.";

/// "rows 3 to 5", "row 5"
std::string rangeText(const char* one, const char* several, std::uint64_t first, std::uint64_t last) {
    return first == last ? one + (' ' + std::to_string(last))
                         : several + (' ' + std::to_string(first)) + " to " + std::to_string(last);
}

std::string capitalized(std::string sentence) {
    sentence[0] = static_cast<char>(sentence[0] >= 'a' && sentence[0] <= 'z' ? sentence[0] - 'a' + 'A' : sentence[0]);
    return sentence;
}

/// Bytes of a row, if rows follow each other in whole bytes; else 0.
std::uint64_t bytesOfRow(const ScannedFacts& facts) {
    const bool isInterleaved = facts.samples == 1 || (facts.samples > 1 && facts.planarConfiguration == 0);
    const std::uint64_t bits = std::uint64_t{facts.columns} * facts.samples * facts.bitsAllocated; // at most 48 bits
    return isInterleaved && bits % 8 == 0 ? bits / 8 : 0;
}

/// Bytes of uncompressed pixels that belong to whole samples: half a number would be another number.
std::uint64_t wholeSamples(const DatasetScan& scan) {
    const std::uint64_t sample = std::max(1U, scan.facts.bitsAllocated / 8);
    return (scan.size - scan.last.valueOffset) / sample * sample;
}

/// A sentence about the rows behind the first `whole` ones of all frames.
std::string missingBehind(std::uint64_t whole, std::uint64_t rows, std::uint64_t frames) {
    const std::uint64_t frame = whole / rows + 1;
    const std::uint64_t first = whole % rows + 1;
    if (frame > frames) {
        return ""; // only a byte that fills up the length
    }
    if (frames == 1) {
        return capitalized(rangeText("row", "rows", first, rows)) + (first == rows ? " is" : " are") + kShownAsZero;
    }
    if (first == 1) {
        return capitalized(rangeText("frame", "frames", frame, frames)) + (frame == frames ? " is" : " are") +
               kShownAsZero;
    }
    const std::string start = capitalized(rangeText("row", "rows", first, rows)) + " of frame " + std::to_string(frame);
    if (frame == frames) {
        return start + (first == rows ? " is" : " are") + kShownAsZero;
    }
    return start + " and " + rangeText("frame", "frames", frame + 1, frames) + " are" + kShownAsZero;
}

/// What of uncompressed pixels lies behind the end of the file.
std::string missingPixels(const DatasetScan& scan) {
    const std::uint64_t length = scan.last.length;
    const std::uint64_t present = wholeSamples(scan);
    const std::uint64_t row = bytesOfRow(scan.facts);
    const std::uint64_t rows = scan.facts.rows;
    const std::uint64_t frames = std::max<std::uint64_t>(1, scan.facts.frames);
    // Sizes that do not fit the attributes, such as those of YBR_FULL_422, tell nothing about rows.
    if (row > 0 && rows > 0 && frames <= length / row / rows && length - frames * rows * row <= 1) {
        return missingBehind(present / row, rows, frames);
    }
    return "The last " + std::to_string(length - present) + " of " + std::to_string(length) +
           " bytes of its pixels are" + kShownAsZero;
}

/// A small file may claim gigabytes of pixels; zeros for all of them would only cost time and memory.
bool isWorthFilling(const DatasetScan& scan) {
    constexpr std::uint64_t kFreeBytes = std::uint64_t{64} << 20;
    constexpr std::uint64_t kLeastShare = 16;
    const std::uint64_t present = wholeSamples(scan);
    return present > 0 && (scan.last.length <= kFreeBytes || scan.last.length / kLeastShare <= present);
}

void keepFragments(const DatasetScan& scan, PartialPlan& plan) {
    plan.keptBytes = scan.fragmentsEnd;
    plan.endsFragments = true;
    plan.hasPixels = true;
    const std::uint32_t frames = std::max(1U, scan.facts.frames);
    if (frames > scan.fragments) { // a frame has at least one fragment, and mostly exactly one (PS3.5 A.4)
        plan.frames = scan.fragments;
        const std::string range = rangeText("frame", "frames", scan.fragments + 1U, frames);
        plan.missing = capitalized(range) + (scan.fragments + 1U == frames ? " is missing." : " are missing.");
    } else {
        plan.missing = "The end of its compressed pixels is missing.";
    }
}

void keepElements(const DatasetScan& scan, PartialPlan& plan) {
    plan.keptBytes = scan.last.offset;
    if (scan.isCutInPixels()) {
        plan.missing = "None of its pixels can be shown.";
    } else if (scan.facts.hasPixels) { // cut behind them
        plan.hasPixels = true;
    } else if (scan.facts.rows > 0) {
        plan.missing = "Its pixels are missing.";
    }
}

void copyBytes(std::FILE* from, std::FILE* to, std::uint64_t count, const std::string& path) {
    std::vector<char> block(std::size_t{1} << 20);
    while (count > 0) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), count));
        if (std::fread(block.data(), 1, wanted, from) != wanted) {
            throw FileError(path + " became shorter, or cannot be read: no part of it is shown.");
        }
        if (std::fwrite(block.data(), 1, wanted, to) != wanted) {
            throw files::WriteError("A copy of " + path, errno);
        }
        count -= wanted;
    }
}

/// Without writing them: a file system keeps a hole for them.
bool addZeros(std::FILE* file, std::uint64_t count) {
    return count == 0 || (std::fseek(file, static_cast<long>(count - 1), SEEK_CUR) == 0 && std::fputc(0, file) == 0);
}

bool addDelimiter(std::FILE* file) {
    const unsigned char bytes[] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}; // encapsulated pixels are little endian
    return std::fwrite(bytes, 1, sizeof bytes, file) == sizeof bytes;
}

/// Writes the number into the bytes of the old one, which is not shorter.
bool setFrames(std::FILE* file, const ScannedElement& element, std::uint32_t frames) {
    std::string text = std::to_string(frames);
    if (element.length < text.size() || element.length > 64) {
        return true;
    }
    text.resize(static_cast<std::size_t>(element.length), ' ');
    return std::fseek(file, static_cast<long>(element.valueOffset), SEEK_SET) == 0 &&
           std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

} // namespace

PartialPlan planPartial(const DatasetScan& scan) {
    PartialPlan plan;
    plan.isPossible = scan.end == DatasetScan::End::cut && !scan.isInMeta && scan.last.offset > scan.datasetOffset;
    if (!plan.isPossible) {
        return plan;
    }
    if (scan.isCutInPixels() && scan.last.isUndefined && scan.fragments > 0) {
        keepFragments(scan, plan);
    } else if (scan.isCutInPixels() && !scan.last.isUndefined && isWorthFilling(scan)) {
        plan.keptBytes = scan.last.valueOffset + wholeSamples(scan);
        plan.zeroBytes = scan.last.valueOffset + scan.last.length - plan.keptBytes;
        plan.hasPixels = true;
        plan.missing = missingPixels(scan);
    } else {
        keepElements(scan, plan);
    }
    return plan;
}

PartialFile::~PartialFile() { std::remove(mCopy.c_str()); }

PartialFile::PartialFile(const std::string& path, const DatasetScan& scan, const PartialPlan& plan, std::string copy)
    : mCopy(std::move(copy)) {
    const File from(std::fopen(path.c_str(), "rb"), std::fclose);
    if (from == nullptr) {
        throw FileError(path + " cannot be read: " + std::generic_category().message(errno) + ".");
    }
    File to(std::fopen(mCopy.c_str(), "wb"), std::fclose);
    if (to == nullptr) {
        throw files::WriteError("A copy of " + path, errno);
    }
    copyBytes(from.get(), to.get(), plan.keptBytes, path);
    const bool isWritten = addZeros(to.get(), plan.zeroBytes) && (!plan.endsFragments || addDelimiter(to.get())) &&
                           (plan.frames == 0 || setFrames(to.get(), scan.facts.framesElement, plan.frames));
    if (!isWritten || std::fclose(to.release()) != 0) {
        throw files::WriteError("A copy of " + path, errno);
    }
}

} // namespace radvex::media
