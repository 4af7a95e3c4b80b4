#pragma once

#include <string>
#include <vector>

#include "formats/json/Dictionary.h"
#include "host/Host.h"
#include "host/Value.h"

namespace radvex::formats {

struct Attribute;
using Attributes = std::vector<Attribute>;

/// An attribute to write: text, or the items of a sequence.
struct Attribute {
    std::string keyword{};
    std::string source{}; ///< where it was given, for messages: "meta.json: at PatientName", "--tag PatientName=Doe"
    std::string value{};  ///< several values are separated by backslashes
    bool isBytes = false; ///< some of the values are bytes, which are written as they are
    bool isSequence = false;
    std::vector<Attributes> items{};
};

/// The attributes as the library takes them: texts, and stores of stores for sequences.
velmora::Store toStore(const Attributes& attributes);

/// Attributes that were read, and sentences about what was left out, see LeftOut.
struct AttributesInput {
    Attributes attributes{};
    std::vector<std::string> remarks{};
};

/// Reads the DICOM JSON Model as `radvex tags --dicom-json` prints it, see DicomJsonInput, or a JSON object as
/// `radvex tags --json` prints it: texts; {"bytes":"base64"}, which are written as they are;
/// numbers, which become texts; lists of these, which become several values; lists of objects, which become sequences.
/// Numbers of a byte or word attribute (OB, OW) become its hexadecimal text.
/// @param name  the file, for the source of each attribute
/// @throws FileError  not JSON, or not of that form; the sentence names the source
AttributesInput attributesFromJson(const std::string& name, const std::string& text, Dictionary& dictionary);

/// The attribute because of which the library refused the metadata; null for an error of another kind.
const Attribute* findRefused(const Attributes& attributes, const velmora::LibraryError& error, velmora::Host& host,
                             Dictionary& dictionary);

/// Whether any text is not ASCII. Bytes that are not valid UTF-8 do not count: they are in the file's own character
/// set.
bool hasWideText(const Attributes& attributes);

} // namespace radvex::formats
