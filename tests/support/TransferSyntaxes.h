#pragma once

// Transfer syntaxes by name (PS3.6, table A-1).

namespace radvex::test {

constexpr const char* kImplicit = "1.2.840.10008.1.2";
constexpr const char* kExplicit = "1.2.840.10008.1.2.1";
constexpr const char* kBigEndian = "1.2.840.10008.1.2.2";
constexpr const char* kJpeg = "1.2.840.10008.1.2.4.50";
constexpr const char* kDeflated = "1.2.840.10008.1.2.1.99";

} // namespace radvex::test
