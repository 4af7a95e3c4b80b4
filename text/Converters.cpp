#include "text/Converters.h"

#include <cstring>
#include <new>

namespace radvex::text {

void requireMemory(const OFCondition& conversion) {
    const char* reason = conversion.text(); // null when there is no memory for it either
    if (reason == nullptr || std::strstr(reason, "U_MEMORY_ALLOCATION_ERROR") != nullptr) {
        throw std::bad_alloc();
    }
}

OFCharacterEncoding* Converters::converter(Opened& opened, const char* name, const char* from, const char* to) {
    const auto known = opened.find(std::string_view(name));
    if (known != opened.end()) {
        return known->second.get();
    }
    auto converter = std::make_unique<OFCharacterEncoding>();
    const OFCondition selected = converter->selectEncoding(from, to);
    if (selected.bad()) {
        requireMemory(selected);
        converter.reset();
    }
    return opened.emplace(name, std::move(converter)).first->second.get();
}

std::optional<std::string> Converters::converted(OFCharacterEncoding* converter, std::string_view text) {
    if (converter == nullptr) {
        return std::nullopt;
    }
    OFString result;
    const OFCondition done = converter->convertString(text.data(), text.size(), result);
    if (done.bad()) {
        requireMemory(done);
        return std::nullopt;
    }
    return std::string(result.c_str(), result.size());
}

std::optional<std::string> Converters::toUtf8(const char* encoding, std::string_view bytes) {
    return converted(converter(mDecoders, encoding, encoding, "UTF-8"), bytes);
}

std::optional<std::string> Converters::fromUtf8(const char* encoding, std::string_view text) {
    return converted(converter(mEncoders, encoding, "UTF-8", encoding), text);
}

} // namespace radvex::text
