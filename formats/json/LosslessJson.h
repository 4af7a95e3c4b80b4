#pragma once

#include <string>

#include "files/Errors.h"
#include "host/Value.h"
#include "nlohmann/json.hpp"

namespace radvex::formats {

using Json = nlohmann::ordered_json;

/// Text that is not a value in the form below.
class JsonError : public Error {
  public:
    using Error::Error;
    ExitStatus exitStatus() const override { return kUsage; }
};

/// Values as JSON without any loss:
///   booleans, whole numbers and strings as they are; a real always with a point or an exponent
///   {"real":"nan"}, "inf", "-inf"         reals that JSON lacks
///   {"complex":[re,im]}
///   {"tensor":{"type":"integer|real|complex","dims":[…],"data":[…]}}
///   {"array":{"type":"s8|u8|s16|u16|s32|u32|s64|u64|f32|f64","dims":[…],"base64":"…"}}       little-endian
///   {"image":{"type":"bit|u8|u16|f32|f64","rank":2,"slices":1,"rows":…,"columns":…,"channels":…,"colorSpace":0,
///             "interleaved":false,"base64":"…"}}
///   {"store":[["name",value],…]}          in order; names may repeat or be empty
///   {"bytes":"base64"}                    a string that is not valid UTF-8
/// As an argument, also: a plain list (a store of nodes without names), any other object (a store of named nodes) and
/// null (a null handle).
Json toJson(const velmora::Value& value);

/// @throws JsonError
velmora::Value fromJson(const Json& json);

/// Parses JSON text. @throws JsonError
Json parseJson(const std::string& text);

/// JSON text: one line, or lines indented by `indent` spaces per level. Bytes that are not valid UTF-8 become U+FFFD.
std::string dumpJson(const Json& json, int indent = -1);

} // namespace radvex::formats
