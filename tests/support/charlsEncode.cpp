// Compresses samples with a JPEG-LS library that has nothing to do with DCMTK's, whose functions have the same names:
// this has to be a program of its own.
//
//   charlsEncode COLUMNS ROWS BITS COMPONENTS INTERLEAVE NEAR RESET < samples > stream

#include <charls/charls.h>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 8) {
        std::cerr << "charlsEncode COLUMNS ROWS BITS COMPONENTS INTERLEAVE NEAR RESET\n";
        return 2;
    }
    const auto number = [argv](int index) { return std::atoi(argv[index]); };
    const std::string samples{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    try {
        charls::jpegls_encoder encoder;
        encoder.frame_info(
            {static_cast<std::uint32_t>(number(1)), static_cast<std::uint32_t>(number(2)), number(3), number(4)});
        encoder.interleave_mode(static_cast<charls::interleave_mode>(number(5)));
        encoder.near_lossless(number(6));
        if (number(7) != 0) {
            encoder.preset_coding_parameters({0, 0, 0, 0, number(7)});
        }
        std::vector<char> stream(encoder.estimated_destination_size());
        encoder.destination(stream);
        std::cout.write(stream.data(), static_cast<std::streamsize>(encoder.encode(samples)));
    } catch (const charls::jpegls_error& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return std::cout.flush() ? 0 : 1;
}
