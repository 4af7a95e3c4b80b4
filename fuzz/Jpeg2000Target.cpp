#include <algorithm>

#include "fuzz/Choices.h"
#include "guard/pixels/Jpeg2000Codestream.h"
#include "tests/support/HostileFiles.h"

namespace radvex::fuzz {

namespace {

using test::kExplicitForm;

std::string number(std::uint32_t tag, std::uint32_t value) {
    return kExplicitForm.element(tag, "US", kExplicitForm.number16(value));
}

std::string text(std::uint32_t tag, const std::string& vr, std::string value) {
    value += std::string(value.size() % 2, ' ');
    return kExplicitForm.element(tag, vr, value);
}

/// Pixel Data of frames of this codestream, each in one fragment or in two.
std::string pixelsOf(const std::string& codestream, unsigned frames, bool isSplit) {
    constexpr std::uint32_t kItem = 0xFFFEE000;
    constexpr std::uint32_t kSequenceEnd = 0xFFFEE0DD;
    const std::string even = codestream + std::string(codestream.size() % 2, '\0');
    const std::size_t first = isSplit ? even.size() / 4 * 2 : even.size();
    std::string table;
    std::string fragments;
    for (unsigned frame = 0; frame < frames; ++frame) {
        table += kExplicitForm.number32(static_cast<std::uint32_t>(fragments.size()));
        for (const std::string& part : {even.substr(0, first), even.substr(first)}) {
            if (!isSplit && part.empty()) {
                continue;
            }
            fragments += kExplicitForm.item(kItem, static_cast<std::uint32_t>(part.size())) + part;
        }
    }
    return kExplicitForm.header(0x7FE00010, "OB", test::kUndefined) +
           kExplicitForm.item(kItem, static_cast<std::uint32_t>(table.size())) + table + fragments +
           kExplicitForm.item(kSequenceEnd, 0);
}

/// A file of a codestream whose attributes fit it, as far as it says what would fit.
std::string fileOf(const Choices& choices, Bytes codestream) {
    static constexpr const char* kSyntaxes[] = {"1.2.840.10008.1.2.4.90", "1.2.840.10008.1.2.4.91",
                                                "1.2.840.10008.1.2.4.201", "1.2.840.10008.1.2.4.203"};
    static constexpr const char* kColours[] = {"RGB", "YBR_RCT", "YBR_ICT", "YBR_FULL"};
    const Jpeg2000Codestream headers(codestream);
    const auto bits = static_cast<unsigned>(std::max(1, headers.precision()));
    const unsigned allocated = bits > 8 || choices.bit(0, 0) ? 16 : 8;
    const unsigned stored = std::min(allocated, bits + choices.byte(1) % 4);
    const bool isColour = headers.components() == 3;
    const unsigned frames = 1 + choices.byte(2) % 3;
    std::string dataset = text(0x00080016, "UI", std::string("1.2.840.10008.5.1.4.1.1.7") + '\0') +
                          number(0x00280002, isColour ? 3 : 1) +
                          text(0x00280004, "CS", isColour ? choices.of(3, kColours) : "MONOCHROME2");
    if (isColour) {
        dataset += number(0x00280006, choices.bit(0, 1) ? 1 : 0);
    }
    dataset += text(0x00280008, "IS", std::to_string(frames)) + number(0x00280010, headers.rows()) +
               number(0x00280011, headers.columns()) + number(0x00280100, allocated) + number(0x00280101, stored) +
               number(0x00280102, stored - 1) + number(0x00280103, headers.isSigned() != choices.bit(0, 2) ? 1 : 0);
    return test::withMeta(choices.of(4, kSyntaxes),
                          dataset + pixelsOf({codestream.begin(), codestream.end()}, frames, choices.bit(0, 3)));
}

} // namespace

void runJpeg2000(Bytes input) {
    const Choices choices(input);
    const std::string read = std::string(kChoiceBytes, '\0') + fileOf(choices, Choices::rest(input));
    runPixels({reinterpret_cast<const unsigned char*>(read.data()), read.size()});
}

} // namespace radvex::fuzz
