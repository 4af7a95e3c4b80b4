#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace radvex::test {

// Transfer syntaxes (PS3.6, table A-1).
inline constexpr const char* kImplicit = "1.2.840.10008.1.2";
inline constexpr const char* kExplicit = "1.2.840.10008.1.2.1";
inline constexpr const char* kBigEndian = "1.2.840.10008.1.2.2";
inline constexpr const char* kJpeg = "1.2.840.10008.1.2.4.50";
inline constexpr const char* kDeflated = "1.2.840.10008.1.2.1.99";

inline constexpr std::uint32_t kUndefined = 0xFFFFFFFF;

/// How elements are written, byte by byte, right or wrong.
struct Form {
    bool isExplicit = true;
    bool isBigEndian = false;

    std::string number16(std::uint32_t number) const;
    std::string number32(std::uint32_t number) const;
    std::string tag(std::uint32_t number) const;
    /// Header of an element; the VR is left out where it is not written.
    std::string header(std::uint32_t tagNumber, const std::string& vr, std::uint32_t length) const;
    /// An element with its value, as it is.
    std::string element(std::uint32_t tagNumber, const std::string& vr, const std::string& value) const;
    /// Header of an item or a delimiter.
    std::string item(std::uint32_t tagNumber, std::uint32_t length) const;
};

inline constexpr Form kExplicitForm{true, false};
inline constexpr Form kImplicitForm{false, false};
inline constexpr Form kBigEndianForm{true, true};

/// One way to put a sequence into an item.
struct Nesting {
    Form outer = kExplicitForm;
    Form inner = kExplicitForm; ///< of the items
    std::uint32_t tag = 0x00081140;
    std::string vr = "SQ";
    bool isDefinedSequence = false;
    bool isDefinedItem = false;
    std::string before{}; ///< elements of every item before the next sequence
    bool isUnclosed = false;
};

/// The innermost content inside so many sequences. Linear for undefined lengths.
std::string nested(const Nesting& nesting, std::size_t levels, const std::string& innermost = {});

/// Preamble, meta information with a group length, and a dataset.
std::string withMeta(const std::string& syntax, const std::string& dataset, const std::string& moreMeta = {});

/// A raw deflate stream.
std::string deflated(const std::string& bytes);

/// Directory records that refer to each other by offset.
struct DirectoryRecord {
    std::uint32_t lower = 0; ///< number of a record from 1, 0 for none
    std::uint32_t next = 0;
};

/// A dataset of directory records that begins at an offset of its file; references to records that do not exist lead
/// past the end. Offsets have four bytes, or as many of the first as are told.
std::string directory(const Form& form, const std::vector<DirectoryRecord>& records, std::uint32_t first,
                      std::size_t offset, bool isDefined = false, std::size_t offsetBytes = 4);

/// A way to make DCMTK's parser recurse: the bytes of a file with so many levels of sequences.
struct NestingWay {
    std::string name;
    std::function<std::string(std::size_t)> file;
    /// DCMTK loads the file without an error.
    bool isLoaded = true;
};

/// All transfer syntaxes and lengths, with and without meta information, and what DCMTK only takes for sequences.
const std::vector<NestingWay>& nestingWays();

} // namespace radvex::test
