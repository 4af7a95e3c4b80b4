#pragma once

#include <string>

namespace radvex::cli {

/// KEYWORD=VALUE as the user gave it.
struct Assignment {
    std::string keyword{};
    std::string value{}; ///< several values stand with a backslash between them
    std::string place{}; ///< how messages call it: "--tag PatientName=Doe"
};

/// Takes the word of an option apart at its first '='. The value may be empty.
/// @throws UsageError  without a keyword and '=', and for text that is no UTF-8
Assignment parseAssignment(const std::string& option, const std::string& word);

} // namespace radvex::cli
