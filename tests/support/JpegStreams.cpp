#include "tests/support/JpegStreams.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <jpeglib.h>

namespace radvex::test {

namespace {

[[noreturn]] void throwMessage(j_common_ptr codec) {
    char message[JMSG_LENGTH_MAX];
    codec->err->format_message(codec, message);
    throw std::runtime_error(std::string("libjpeg: ") + message);
}

void setColours(jpeg_compress_struct& encoder, const JpegSource& source) {
    if (source.components == 1) {
        return;
    }
    jpeg_set_colorspace(&encoder, source.staysRgb ? JCS_RGB : JCS_YCbCr);
    encoder.write_JFIF_header = source.marker == JpegColourMarker::jfif ? TRUE : FALSE;
    encoder.write_Adobe_marker = source.marker == JpegColourMarker::adobe ? TRUE : FALSE;
    for (int component = 0; component < 3; ++component) {
        encoder.comp_info[component].component_id = component + 1; // not letters, which tell of RGB
    }
    encoder.comp_info[0].h_samp_factor = source.acrossShared;
    encoder.comp_info[0].v_samp_factor = source.downShared;
}

/// @param scans  lives as long as the encoder
void setForm(jpeg_compress_struct& encoder, const JpegSource& source, std::vector<jpeg_scan_info>& scans) {
    const bool isExtended = source.form == JpegForm::extended;
    constexpr int kCoarse = 5; // a quality whose steps are over 255
    jpeg_set_quality(&encoder, isExtended ? kCoarse : source.quality, isExtended ? FALSE : TRUE);
    encoder.optimize_coding = source.form == JpegForm::ownTables ? TRUE : FALSE;
    if (source.form == JpegForm::progressive) {
        jpeg_simple_progression(&encoder);
    }
    if (source.form == JpegForm::scanEach) {
        for (int component = 0; component < source.components; ++component) {
            scans.push_back({1, {component, 0, 0, 0}, 0, DCTSIZE2 - 1, 0, 0});
        }
        encoder.scan_info = scans.data();
        encoder.num_scans = source.components;
    }
}

/// Writes bits, highest first, and the zero byte that follows each FF of compressed data.
class BitWriter {
  public:
    void put(unsigned bits, int count) {
        while (count-- > 0) {
            mByte = mByte << 1 | (bits >> count & 1U);
            if (++mUsed == 8) {
                bytes += static_cast<char>(mByte);
                bytes += mByte == 0xFF ? std::string(1, '\0') : "";
                mByte = 0;
                mUsed = 0;
            }
        }
    }
    /// Fills the last byte with ones.
    void finish() {
        while (mUsed != 0) {
            put(1, 1);
        }
    }

    std::string bytes{};

  private:
    unsigned mByte = 0;
    int mUsed = 0;
};

std::string bigEndian(int number) { return {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)}; }

/// Codes for 0 to 14 of four bits, for 15 of five, for 16 of six; none is all ones.
std::string tableOfSizes() {
    std::string content("\0\0\0\0\x0F\x01\x01", 7);
    content += std::string(10, '\0');
    for (char size = 0; size <= 16; ++size) {
        content += size;
    }
    return jpegSegment('\xC4', content);
}

void putDifference(BitWriter& writer, int difference) {
    const int wrapped = static_cast<std::int16_t>(static_cast<std::uint16_t>(difference & 0xFFFF));
    if (wrapped == -32768) {
        writer.put(0x3E, 6); // no more bits
        return;
    }
    const int size = wrapped == 0 ? 0 : 32 - __builtin_clz(static_cast<unsigned>(std::abs(wrapped)));
    size < 15 ? writer.put(static_cast<unsigned>(size), 4) : writer.put(0x1E, 5);
    writer.put(static_cast<unsigned>(wrapped < 0 ? wrapped - 1 : wrapped), size);
}

/// @param left, above, corner  the neighbours Ra, Rb and Rc
int predicted(int predictor, int left, int above, int corner) {
    switch (predictor) {
    case 1: return left;
    case 2: return above;
    case 3: return corner;
    case 4: return left + above - corner;
    case 5: return left + ((above - corner) >> 1);
    case 6: return above + ((left - corner) >> 1);
    default: return (left + above) >> 1;
    }
}

/// The prediction of a sample. The first line, also after a restart, and the first column have predictors of their own.
int predictionOf(const LosslessJpegSource& source, int row, int column, int component) {
    const auto at = [&](int otherRow, int otherColumn) {
        const int index = (otherRow * source.columns + otherColumn) * source.components + component;
        return source.samples[static_cast<std::size_t>(index)];
    };
    const bool isFirstRow = source.restartRows == 0 ? row == 0 : row % source.restartRows == 0;
    if (isFirstRow) {
        return column == 0 ? 1 << (source.bits - 1) : at(row, column - 1);
    }
    return column == 0 ? at(row - 1, column)
                       : predicted(source.predictor, at(row, column - 1), at(row - 1, column), at(row - 1, column - 1));
}

} // namespace

std::string jpegSegment(char kind, const std::string& content) {
    return std::string("\xFF") + kind + bigEndian(static_cast<int>(2 + content.size())) + content;
}

std::string jpegStream(const JpegSource& source) {
    jpeg_error_mgr errors{};
    jpeg_compress_struct encoder{};
    encoder.err = jpeg_std_error(&errors);
    errors.error_exit = throwMessage;
    errors.emit_message = [](j_common_ptr, int) {}; // that quantization is coarse
    jpeg_create_compress(&encoder);
    unsigned char* stream = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &stream, &size);
    encoder.image_width = static_cast<JDIMENSION>(source.columns);
    encoder.image_height = static_cast<JDIMENSION>(source.rows);
    encoder.input_components = source.components;
    encoder.in_color_space = source.components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&encoder);
    setColours(encoder, source);
    std::vector<jpeg_scan_info> scans;
    setForm(encoder, source, scans);
    encoder.restart_interval = static_cast<unsigned>(source.restartUnits);
    jpeg_start_compress(&encoder, TRUE);
    std::vector<unsigned char> samples = source.samples;
    while (encoder.next_scanline < encoder.image_height) {
        JSAMPROW row = samples.data() + std::size_t{encoder.next_scanline} * encoder.image_width *
                                            static_cast<std::size_t>(source.components);
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    std::string result(reinterpret_cast<const char*>(stream), size);
    std::free(stream);
    return result;
}

std::vector<int> decodedJpeg(const std::string& stream, const JpegSource& source) {
    jpeg_error_mgr errors{};
    jpeg_decompress_struct decoder{};
    decoder.err = jpeg_std_error(&errors);
    errors.error_exit = throwMessage;
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, reinterpret_cast<const unsigned char*>(stream.data()), stream.size());
    jpeg_read_header(&decoder, TRUE);
    if (source.components == 3) { // what the source is, not what the markers let libjpeg guess
        decoder.jpeg_color_space = source.staysRgb ? JCS_RGB : JCS_YCbCr;
        decoder.out_color_space = JCS_RGB;
    }
    // This libjpeg also interpolates colours that only rows share; older ones repeat them.
    decoder.do_fancy_upsampling = source.acrossShared == 1 && source.downShared > 1 ? FALSE : TRUE;
    jpeg_start_decompress(&decoder);
    std::vector<unsigned char> line(decoder.output_width * static_cast<std::size_t>(decoder.output_components));
    std::vector<int> samples;
    while (decoder.output_scanline < decoder.output_height) {
        JSAMPROW row = line.data();
        jpeg_read_scanlines(&decoder, &row, 1);
        samples.insert(samples.end(), line.begin(), line.end());
    }
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    return samples;
}

std::string losslessJpegStream(const LosslessJpegSource& source) {
    const auto components = static_cast<char>(source.components);
    std::string frame =
        static_cast<char>(source.bits) + bigEndian(source.rows) + bigEndian(source.columns) + components;
    std::string scan(1, components);
    for (char component = 1; component <= components; ++component) {
        frame += std::string({component, '\x11', '\0'});
        scan += std::string({component, '\0'});
    }
    std::string stream = "\xFF\xD8" + tableOfSizes() + jpegSegment('\xC3', frame);
    if (source.restartRows > 0) {
        stream += jpegSegment('\xDD', bigEndian(source.restartRows * source.columns));
    }
    stream += jpegSegment('\xDA', scan + static_cast<char>(source.predictor) + std::string(2, '\0'));
    BitWriter writer;
    int restarts = 0;
    std::size_t index = 0;
    for (int row = 0; row < source.rows; ++row) {
        if (source.restartRows > 0 && row > 0 && row % source.restartRows == 0) {
            writer.finish();
            writer.bytes += std::string("\xFF") + static_cast<char>(0xD0 + restarts++ % 8);
        }
        for (int column = 0; column < source.columns; ++column) {
            for (int component = 0; component < source.components; ++component) {
                putDifference(writer, source.samples[index++] - predictionOf(source, row, column, component));
            }
        }
    }
    writer.finish();
    return stream + writer.bytes + "\xFF\xD9";
}

} // namespace radvex::test
