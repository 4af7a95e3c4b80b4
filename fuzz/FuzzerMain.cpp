// What libFuzzer links to: one program for each target.
#include <cstdint>
#include <random>

#include "fuzz/DicomMutation.h"
#include "fuzz/Targets.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    (void)radvex::fuzz::Harness::instance(); // loaded before libFuzzer counts what there is to cover
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    radvex::fuzz::targetNamed(RADVEX_FUZZ_TARGET).run({data, size});
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    if (random() % 2 == 0) {
        std::vector<unsigned char> input(data, data + size);
        if (radvex::fuzz::mutateElement(input, random, LLVMFuzzerMutate) && input.size() <= maxSize) {
            std::copy(input.begin(), input.end(), data);
            return input.size();
        }
    }
    return LLVMFuzzerMutate(data, size, maxSize);
}
