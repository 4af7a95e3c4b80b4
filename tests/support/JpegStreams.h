#pragma once

#include <string>
#include <vector>

namespace radvex::test {

/// What a stream says of its colours.
enum class JpegColourMarker { none, jfif, adobe };

enum class JpegForm {
    baseline,
    ownTables,  ///< Huffman tables made for the picture
    scanEach,   ///< a scan for each component
    extended,   ///< quantized by more than 8 bits, so that it is not baseline
    progressive ///< several scans for each component
};

/// A picture of 8 bits, and how libjpeg compresses it.
struct JpegSource {
    int rows = 1;
    int columns = 1;
    int components = 1;                   ///< 1 for grey, 3 for RGB
    std::vector<unsigned char> samples{}; ///< pixel by pixel
    int acrossShared = 1;                 ///< columns that share a colour
    int downShared = 1;                   ///< rows that share a colour
    bool staysRgb = false;                ///< components are red, green and blue, not YCbCr
    JpegColourMarker marker = JpegColourMarker::jfif;
    int restartUnits = 0; ///< MCUs between two restart markers; 0 for none
    JpegForm form = JpegForm::baseline;
    int quality = 90;
};

/// A segment of a JPEG stream; `kind` is the second byte of its marker.
std::string jpegSegment(char kind, const std::string& content);

std::string jpegStream(const JpegSource& source);

/// What libjpeg makes of the stream of a source: grey or RGB, pixel by pixel.
std::vector<int> decodedJpeg(const std::string& stream, const JpegSource& source);

/// A picture of 2 to 16 bits without loss (process 14).
struct LosslessJpegSource {
    int rows = 1;
    int columns = 1;
    int components = 1;
    int bits = 8;
    std::vector<int> samples{}; ///< pixel by pixel
    int predictor = 1;          ///< 1 to 7
    int restartRows = 0;        ///< lines between two restart markers; 0 for none
};

/// Compressed here: of the encoders at hand none makes restart markers, or chooses the number of bits freely.
std::string losslessJpegStream(const LosslessJpegSource& source);

} // namespace radvex::test
