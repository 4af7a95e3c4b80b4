#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/Session.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/PartialOption.h"
#include "cli/tags/AttributeText.h"
#include "cli/tags/FileAttributes.h"

namespace radvex::cli {

enum class TagsForm { Text, Json, DicomJson, Csv, Table, Numbers };

/// What is printed of each file, and how.
struct TagsRequest {
    TagsForm form = TagsForm::Text;
    AttributeChoice choice{};
    TextForm text{};
    bool byFile = false; ///< JSON by path for a single file too
    bool lists = false;  ///< JSON lists for texts of several values
};

/// The key of an attribute that is left out, from a keyword in any case or a number. @throws Error, UsageError
std::string excludedKey(velmora::Host& host, const std::string& words);

/// Reads one file, in this process or in another one; `printTags` understands the result.
/// @throws velmora::LibraryError, FileError
std::string describeFile(velmora::Host& host, const TagsRequest& request, const std::string& path);

using DescribeFile = std::function<std::string(const std::string& file)>;

/// Prints the files, and says on standard error which attributes are absent. An attribute that no file has makes the
/// status of the session 1.
/// @param several  whether to name each file
/// @param partial  says of each file whether only a part of it is read
void printTags(Session& session, const TagsRequest& request, const FileJobs& jobs, const PartialOption& partial,
               const std::vector<std::string>& files, bool several, const DescribeFile& describe);

} // namespace radvex::cli
