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
    std::string place{}; ///< how messages call it: "meta.json: at PatientName", "--tag PatientName=Doe"
    std::string value{}; ///< several values stand with a backslash between them
    bool isSequence = false;
    std::vector<Attributes> items{};
};

/// The attributes as the library takes them: texts, and stores of stores for sequences.
velmora::Store toStore(const Attributes& attributes);

/// Reads an object in the shape that `radvex tags --json` prints: texts; {"bytes":"base64"}, which are written as they
/// are; numbers, which become texts; lists of them, which become several values; lists of objects, which become
/// sequences. Numbers of a byte or word attribute (OB, OW) become its hexadecimal text.
/// @param name  the file, for the place of each attribute
/// @throws FileError  no JSON, or not of that shape; the sentence names the place. File meta information too, which the
///                    library alone writes
Attributes attributesFromJson(const std::string& name, const std::string& text, Dictionary& dictionary);

/// The attribute that made the library refuse the metadata, null for an error of another kind.
const Attribute* findRefused(const Attributes& attributes, const velmora::LibraryError& error, velmora::Host& host,
                             Dictionary& dictionary);

/// Whether text beyond ASCII stands anywhere. Bytes that are no UTF-8 are no text: the file's character set is theirs.
bool hasWideText(const Attributes& attributes);

/// Says in the attributes that their texts are UTF-8.
/// @throws FileError  another character set was asked for
void addUtf8CharacterSet(Attributes& attributes);

} // namespace radvex::formats
