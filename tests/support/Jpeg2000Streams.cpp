#include "tests/support/Jpeg2000Streams.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <openjpeg.h>

namespace radvex::test {

namespace {

struct Written {
    std::string bytes{};
    std::size_t offset = 0;
};

OPJ_SIZE_T get(void* into, OPJ_SIZE_T size, void* from) {
    auto& read = *static_cast<Written*>(from);
    const std::size_t count = std::min(size, read.bytes.size() - std::min(read.offset, read.bytes.size()));
    std::copy_n(read.bytes.begin() + static_cast<std::ptrdiff_t>(read.offset), count, static_cast<char*>(into));
    read.offset += count;
    return count == 0 ? static_cast<OPJ_SIZE_T>(-1) : count;
}

void keepFirst(const char* message, void* kept) {
    auto& text = *static_cast<std::string*>(kept);
    text = text.empty() ? message : text;
}

OPJ_SIZE_T put(void* from, OPJ_SIZE_T size, void* into) {
    auto& written = *static_cast<Written*>(into);
    written.bytes.resize(std::max(written.bytes.size(), written.offset + size));
    std::copy_n(static_cast<const char*>(from), size,
                written.bytes.begin() + static_cast<std::ptrdiff_t>(written.offset));
    written.offset += size;
    return size;
}

OPJ_BOOL seek(OPJ_OFF_T offset, void* into) {
    static_cast<Written*>(into)->offset = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

OPJ_OFF_T skip(OPJ_OFF_T bytes, void* into) {
    static_cast<Written*>(into)->offset += static_cast<std::size_t>(bytes);
    return bytes;
}

using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;
using Image = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;

Image imageOf(const Jpeg2000Source& source) {
    const auto columns = static_cast<OPJ_UINT32>(source.columns);
    const auto rows = static_cast<OPJ_UINT32>(source.rows);
    opj_image_cmptparm_t component{};
    component.dx = component.dy = 1;
    component.w = columns;
    component.h = rows;
    component.prec = static_cast<OPJ_UINT32>(source.precision);
    component.sgnd = source.isSigned ? 1 : 0;
    std::vector<opj_image_cmptparm_t> components(static_cast<std::size_t>(source.components), component);
    Image image(opj_image_create(static_cast<OPJ_UINT32>(source.components), components.data(),
                                 source.components < 3 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB),
                &opj_image_destroy);
    if (!image) {
        throw std::runtime_error("OpenJPEG makes no picture.");
    }
    image->x0 = static_cast<OPJ_UINT32>(source.origin[0]);
    image->y0 = static_cast<OPJ_UINT32>(source.origin[1]);
    image->x1 = image->x0 + columns;
    image->y1 = image->y0 + rows;
    auto sample = source.samples.begin();
    for (std::size_t index = 0; index < components.size(); ++index) {
        std::copy_n(sample, columns * rows, image->comps[index].data);
        sample += static_cast<std::ptrdiff_t>(columns * rows);
    }
    return image;
}

OPJ_PROG_ORDER orderOf(Jpeg2000Progression progression) {
    switch (progression) {
    case Jpeg2000Progression::resolutions: return OPJ_RLCP;
    case Jpeg2000Progression::resolutionsByPosition: return OPJ_RPCL;
    case Jpeg2000Progression::positions: return OPJ_PCRL;
    case Jpeg2000Progression::components: return OPJ_CPRL;
    default: return OPJ_LRCP;
    }
}

void setProgressionChange(opj_cparameters_t& parameters, const Jpeg2000Source& source) {
    parameters.numpocs = 2;
    for (OPJ_UINT32 index = 0; index < parameters.numpocs; ++index) {
        opj_poc_t& part = parameters.POC[index];
        part.tile = 1;
        part.resno0 = index;
        part.compno0 = 0;
        part.layno1 = static_cast<OPJ_UINT32>(source.layers);
        part.resno1 = index == 0 ? 1 : static_cast<OPJ_UINT32>(source.resolutions);
        part.compno1 = static_cast<OPJ_UINT32>(source.components);
        part.prg1 = index == 0 ? orderOf(source.progression) : OPJ_RPCL;
    }
}

opj_cparameters_t parametersOf(const Jpeg2000Source& source) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.irreversible = source.isReversible ? 0 : 1;
    parameters.tcp_mct = source.hasTransformation ? 1 : 0;
    parameters.numresolution = source.resolutions;
    parameters.prog_order = orderOf(source.progression);
    parameters.cblockw_init = parameters.cblockh_init = source.blockSize;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_numlayers = source.layers;
    for (int layer = 0; layer < source.layers; ++layer) { // ratios; 0 is everything
        parameters.tcp_rates[layer] =
            layer + 1 == source.layers ? 0.0F : static_cast<float>(source.layers - layer) * 4.0F;
    }
    if (source.tileSize > 0) {
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = parameters.cp_tdy = source.tileSize;
        parameters.cp_tx0 = source.origin[0];
        parameters.cp_ty0 = source.origin[1];
    }
    parameters.image_offset_x0 = source.origin[0];
    parameters.image_offset_y0 = source.origin[1];
    if (source.changesProgression) {
        setProgressionChange(parameters, source);
    }
    if (source.precinctSize > 0) {
        parameters.csty |= 1;
        parameters.res_spec = 1;
        parameters.prcw_init[0] = parameters.prch_init[0] = source.precinctSize;
    }
    if (source.hasPartsOfResolutions) {
        parameters.tp_on = 1;
        parameters.tp_flag = 'R';
    }
    return parameters;
}

} // namespace

std::string jpeg2000Stream(const Jpeg2000Source& source) {
    const auto samples = static_cast<std::size_t>(source.components * source.rows * source.columns);
    if (source.samples.size() != samples) {
        throw std::runtime_error("The picture has other samples than its size says.");
    }
    const Image image = imageOf(source);
    const Codec codec(opj_create_compress(source.isFile ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K), &opj_destroy_codec);
    const Stream stream(opj_stream_default_create(OPJ_FALSE), &opj_stream_destroy);
    Written written;
    opj_stream_set_user_data(stream.get(), &written, nullptr);
    opj_stream_set_write_function(stream.get(), put);
    opj_stream_set_seek_function(stream.get(), seek);
    opj_stream_set_skip_function(stream.get(), skip);
    opj_cparameters_t parameters = parametersOf(source);
    const bool isDone = opj_setup_encoder(codec.get(), &parameters, image.get()) != OPJ_FALSE &&
                        opj_start_compress(codec.get(), image.get(), stream.get()) != OPJ_FALSE &&
                        opj_encode(codec.get(), stream.get()) != OPJ_FALSE &&
                        opj_end_compress(codec.get(), stream.get()) != OPJ_FALSE;
    if (!isDone) {
        throw std::runtime_error("OpenJPEG does not encode the picture.");
    }
    return written.bytes;
}

Jpeg2000Source jpeg2000Picture(int rows, int columns, int components, int precision, bool isSigned) {
    Jpeg2000Source source{
        .rows = rows, .columns = columns, .components = components, .precision = precision, .isSigned = isSigned};
    source.hasTransformation = components == 3;
    while (1 << (source.resolutions - 1) > std::min(rows, columns)) { // the encoder has no empty ones
        --source.resolutions;
    }
    const int values = 1 << precision;
    const int lowest = isSigned ? -values / 2 : 0;
    for (int component = 0; component < components; ++component) {
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                const int slope = (row * 37 + column * 11 + component * 101 + row * column % 7) * values / 512 % values;
                const int edge = column % 2 == 0 ? values - 1 : 0;
                source.samples.push_back(lowest + (row % 5 == 3 ? edge : slope));
            }
        }
    }
    return source;
}

DecodedJpeg2000 decodedJpeg2000(const std::string& bytes) {
    DecodedJpeg2000 decoded;
    Written read{bytes};
    const Codec codec(opj_create_decompress(OPJ_CODEC_J2K), &opj_destroy_codec);
    const Stream stream(opj_stream_default_create(OPJ_TRUE), &opj_stream_destroy);
    opj_stream_set_user_data(stream.get(), &read, nullptr);
    opj_stream_set_user_data_length(stream.get(), bytes.size());
    opj_stream_set_read_function(stream.get(), get);
    opj_stream_set_seek_function(stream.get(), seek);
    opj_stream_set_skip_function(stream.get(), skip);
    opj_set_error_handler(codec.get(), keepFirst, &decoded.complaint);
    opj_set_warning_handler(codec.get(), keepFirst, &decoded.complaint);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* found = nullptr;
    const bool hasHeader = opj_setup_decoder(codec.get(), &parameters) != OPJ_FALSE &&
                           opj_read_header(stream.get(), codec.get(), &found) != OPJ_FALSE;
    const Image image(found, &opj_image_destroy);
    if (!hasHeader || opj_decode(codec.get(), stream.get(), found) == OPJ_FALSE ||
        opj_end_decompress(codec.get(), stream.get()) == OPJ_FALSE) {
        return decoded;
    }
    for (OPJ_UINT32 index = 0; index < found->numcomps; ++index) {
        const opj_image_comp_t& component = found->comps[index];
        decoded.samples.insert(decoded.samples.end(), component.data,
                               component.data + std::size_t{component.w} * component.h);
    }
    return decoded;
}

} // namespace radvex::test
