#include "cli/help/Completions.h"

#include <algorithm>

namespace radvex::cli {

const std::vector<Shell>& shells() {
    static const std::vector<Shell> all{{"bash", bashCompletion, "bash-completion/completions/radvex"},
                                        {"zsh", zshCompletion, "zsh/site-functions/_radvex"},
                                        {"fish", fishCompletion, "fish/vendor_completions.d/radvex.fish"}};
    return all;
}

std::string shortMeaning(const std::string& meaning) {
    constexpr std::size_t kMost = 72;
    std::string text = meaning.substr(0, meaning.find(';'));
    if (text.size() > kMost) {
        const std::size_t comma = text.rfind(',', kMost);
        const std::size_t blank = text.rfind(' ', kMost);
        text.resize(comma != std::string::npos && comma > kMost / 2 ? comma : std::min(blank, kMost));
    }
    text.erase(text.find_last_not_of(" .,:") + 1);
    return text;
}

std::string quotedForShell(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + '\'';
}

} // namespace radvex::cli
