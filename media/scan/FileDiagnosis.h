#pragma once

#include <string>

#include "host/Host.h"
#include "media/scan/DatasetScan.h"

namespace radvex::media {

/// What is wrong with a file that could not be read as DICOM, in the words of those who have the file: "is not a DICOM
/// file: it looks like a PNG picture", "is cut off at byte 700 of 9000, in its pixels". The subject of this part of a
/// sentence is the file. Empty if nothing wrong is found.
std::string whatIsWrong(const std::string& path);

/// Why a file that can be read shows no picture: "has no pixels (it is an RT Plan)". As above.
std::string whyNoPicture(const std::string& path);

/// "is cut off at byte N of M"; M is the number of bytes that the file would need.
std::string describeCut(const DatasetScan& scan);

/// Why DCMTK could not load a file, as a part of a sentence that follows the file's name: "it is cut off at byte 700
/// of 9000". Where nothing is found, "it cannot be read: " and DCMTK's reason.
std::string whyNotLoaded(const std::string& path, const std::string& reason);

/// A sentence about a file from such a part: "it is empty" becomes "a.dcm is empty.", anything else follows a colon. A
/// reason that names the file already, or that ends with a full stop, keeps that.
std::string sentenceAbout(const std::string& file, const std::string& reason);

/// What an error of the library means for the file that it was called with: a sentence that names the file, or the
/// library's own one if nothing better is known. A refusal of the guard is never replaced.
/// @param path   of the file
/// @param shown  its name for people
std::string explain(const velmora::LibraryError& error, const std::string& path, const std::string& shown);

} // namespace radvex::media
