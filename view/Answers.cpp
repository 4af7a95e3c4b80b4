#include "view/Answers.h"

#include <charconv>
#include <optional>

namespace radvex::view {

using formats::Json;

namespace {

constexpr const char* kBytes = "application/octet-stream";
constexpr const char* kPng = "image/png";
constexpr const char* kJson = "application/json";

Answer refusal(const std::string& sentence) {
    return {.isRefusal = true, .message = std::make_shared<const Message>(Message{{{"error", sentence}}, ""})};
}

Answer nothing() {
    Answer answer = refusal("There is no such series, volume or file.");
    answer.isThere = false;
    return answer;
}

/// Takes a prefix off the text. @return whether it was there
bool take(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

/// Takes a number off the text; nothing if there is none, or one that nothing has.
std::optional<std::size_t> takeNumber(std::string_view& text) {
    constexpr std::size_t kMost = 1 << 30;
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number > kMost) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

} // namespace

std::string Answer::text() const { return type == kJson ? formats::dumpJson(message->json) : message->body; }

Answers::Answers(ReaderPool& readers, const Subject& subject, std::size_t memory)
    : mReaders(readers),
      mCatalogue(
          mReaders.ask({{"job", "tree"}, {"path", formats::toJson(subject.path)}, {"series", subject.series}}).json),
      mVolumes(memory) {}

Answer Answers::to(std::string_view question) {
    if (question == "tree") {
        return {.message = std::make_shared<const Message>(Message{mCatalogue.shown(), ""})};
    }
    if (!take(question, "series/")) {
        return nothing();
    }
    const auto series = takeNumber(question);
    if (!series || mCatalogue.filesOf(*series) == nullptr) {
        return nothing();
    }
    if (question.empty()) {
        return ask({{"job", "series"}, {"files", *mCatalogue.filesOf(*series)}}, kJson);
    }
    if (take(question, "/volumes/")) {
        const auto volume = takeNumber(question);
        return volume && question.empty() ? ofVolume(*series, *volume) : nothing();
    }
    return take(question, "/files/") ? ofFile(*series, question) : nothing();
}

Answer Answers::ofFile(std::size_t series, std::string_view rest) {
    const auto number = takeNumber(rest);
    const Json* const file = number ? mCatalogue.fileOf(series, *number) : nullptr;
    if (file == nullptr) {
        return nothing();
    }
    if (rest == "/tags") {
        return ask({{"job", "tags"}, {"file", *file}}, kJson);
    }
    for (const auto& [job, type] : {std::pair{"values", kBytes}, {"overlays", kBytes}, {"preview", kPng}}) {
        std::string_view frame = rest;
        if (take(frame, std::string("/") + job + "?frame=")) {
            const auto wanted = takeNumber(frame);
            return wanted && frame.empty() ? ask({{"job", job}, {"file", *file}, {"frame", *wanted}}, type) : nothing();
        }
    }
    return nothing();
}

Answer Answers::ofVolume(std::size_t series, std::size_t volume) {
    const std::string key = std::to_string(series) + ' ' + std::to_string(volume);
    if (const auto kept = mVolumes.find(key)) {
        return {.type = kBytes, .info = kept->json, .message = kept};
    }
    Answer answer =
        ask({{"job", "volume"}, {"files", *mCatalogue.filesOf(series)}, {"volume", volume}, {"most", mVolumes.limit()}},
            kBytes);
    if (!answer.isRefusal) {
        mVolumes.keep(key, answer.message);
    }
    return answer;
}

Answer Answers::ask(const Json& request, const std::string& type) {
    try {
        const auto found = std::make_shared<const Message>(mReaders.ask(request));
        return {.type = type, .info = type == kBytes ? found->json : Json(), .message = found};
    } catch (const ReaderError& error) {
        return refusal(error.what());
    }
}

} // namespace radvex::view
