#include <cstring>
#include <stdexcept>

#include "fuzz/Choices.h"

namespace radvex::fuzz {

namespace {

using velmora::Value;

struct PixelArguments {
    std::string file{};
    vint start = 0;
    vint count = 0;
    velmora::Tensor scaling{};
    bool overlays = false;
    vint flags = 0;
};

PixelArguments argumentsOf(const Choices& choices, const std::string& file) {
    // Mostly few frames: what lies beyond them matters at the ends only.
    return {file,
            static_cast<vint>(choices.byte(1)),
            static_cast<vint>(choices.byte(2)),
            scalingOf(choices, 3),
            choices.bit(4, 0),
            static_cast<vint>(choices.word(5))};
}

template <typename Pixels>
bool isSame(const Value& first, const Value& second) {
    const auto left = first.get<Pixels>().bytes();
    const auto right = second.get<Pixels>().bytes();
    return left.size() == right.size() && (left.empty() || std::memcmp(left.data(), right.data(), left.size()) == 0);
}

/// Two readers have to find the same. Bytes that nobody wrote, or a neighbour's, seldom are.
void expectSame(const Value& first, const Value& second) {
    bool same = first.index() == second.index();
    if (same && first.is<velmora::Image>()) {
        same = isSame<velmora::Image>(first, second);
    } else if (same && first.is<velmora::NumericArray>()) {
        same = isSame<velmora::NumericArray>(first, second);
    }
    if (!same) {
        throw std::runtime_error("The same file read twice gives different pixels.");
    }
}

void readTwice(Harness& harness, const std::string& function, const std::vector<Value>& arguments) {
    const Value first = harness.call(function, arguments);
    (void)harness.call("ClearCache");
    expectSame(first, harness.call(function, arguments));
}

} // namespace

void runPixels(Bytes input) {
    const Choices choices(input);
    Harness& harness = Harness::instance();
    const auto [file, start, count, scaling, overlays, flags] =
        argumentsOf(choices, harness.write("input.dcm", Choices::rest(input)));
    const bool all = (choices.byte(0) & 7U) == 0;
    if (all || choices.bit(0, 0)) {
        readTwice(harness, "ReadImage", {file, start, count, scaling, overlays, flags});
    }
    if (all || choices.bit(0, 1)) {
        (void)harness.call("ReadImageData", {file, start, count, scaling, overlays, flags});
    }
    if (all || choices.bit(0, 2)) {
        readTwice(harness, "ReadIntermediatePixelData", {file, flags, count});
    }
}

void runOverlays(Bytes input) {
    const Choices choices(input);
    Harness& harness = Harness::instance();
    const std::string file = harness.write("input.dcm", Choices::rest(input));
    (void)harness.call("GetOverlayCount", {file});
    (void)harness.call("ReadOverlay", {file});
    (void)harness.call("ReadOverlays", {file});
    (void)harness.call("ReadImage", {file, static_cast<vint>(choices.byte(1)), static_cast<vint>(choices.byte(2)),
                                     scalingOf(choices, 3), true, static_cast<vint>(choices.word(5))});
    (void)harness.call("ReadMetadata",
                       {file, velmora::Store::ofTexts({"OverlayData", "OverlayRows"}), choices.bit(0, 0)});
}

} // namespace radvex::fuzz
