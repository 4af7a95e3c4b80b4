#include "media/Selection.h"

#include <regex>

namespace radvex::media {

std::string whyUnusable(const std::string& pattern) {
    constexpr std::size_t kLongest = 1024; // the library's limit too; longer ones cost the matcher's stack
    try {
        if (pattern.size() > kLongest) {
            throw std::regex_error(std::regex_constants::error_space);
        }
        (void)std::regex(pattern, std::regex::ECMAScript);
        return "";
    } catch (const std::regex_error& error) {
        return error.what();
    }
}

std::string exactPattern(const std::string& text) {
    static const std::string kSpecial = R"(^$\.*+?()[]{}|/)";
    std::string pattern;
    for (const char letter : text) {
        if (kSpecial.find(letter) != std::string::npos) {
            pattern += '\\';
        }
        pattern += letter;
    }
    return pattern;
}

} // namespace radvex::media
