#include "fuzz/Choices.h"

namespace radvex::fuzz {

void runOverlays(Bytes input) {
    using velmora::Store;
    const Choices choices(input);
    Harness& harness = Harness::instance();
    const std::string file = harness.write("input.dcm", Choices::rest(input));
    (void)harness.call("GetOverlayCount", {file});
    (void)harness.call("ReadOverlay", {file});
    (void)harness.call("ReadOverlays", {file});
    (void)harness.call("ReadImage", {file, static_cast<vint>(choices.byte(1)), static_cast<vint>(choices.byte(2)),
                                     scalingOf(choices, 3), true, static_cast<vint>(choices.word(5))});
    (void)harness.call("ReadMetadata", {file, Store::ofTexts({"OverlayData", "OverlayRows"}), choices.bit(0, 0)});
}

} // namespace radvex::fuzz
