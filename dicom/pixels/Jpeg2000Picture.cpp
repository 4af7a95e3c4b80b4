#include "dicom/pixels/Jpeg2000Picture.h"

#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

/// Where OpenJPEG has got to in a codestream, to which the mark of its end is added.
struct Place {
    Bytes bytes;
    std::size_t offset = 0;

    std::size_t size() const { return bytes.size() + kEndMark.size(); }

    static constexpr std::array<Uint8, 2> kEndMark{0xFF, 0xD9};
};

OPJ_SIZE_T readFrom(void* into, OPJ_SIZE_T count, void* source) {
    auto& place = *static_cast<Place*>(source);
    const std::size_t codestreamSize = place.bytes.size();
    const Bytes rest = place.offset < codestreamSize ? place.bytes.subspan(place.offset)
                                                     : Bytes(Place::kEndMark).subspan(place.offset - codestreamSize);
    const std::size_t size = std::min<std::size_t>(count, rest.size());
    if (size == 0) {
        return static_cast<OPJ_SIZE_T>(-1); // the end
    }
    std::memcpy(into, rest.data(), size);
    place.offset += size;
    return size;
}

OPJ_OFF_T skipIn(OPJ_OFF_T count, void* source) {
    auto& place = *static_cast<Place*>(source);
    if (count < 0 || static_cast<std::uint64_t>(count) > place.size() - place.offset) {
        return -1;
    }
    place.offset += static_cast<std::size_t>(count);
    return count;
}

OPJ_BOOL seekIn(OPJ_OFF_T offset, void* source) {
    auto& place = *static_cast<Place*>(source);
    if (offset < 0 || static_cast<std::uint64_t>(offset) > place.size()) {
        return OPJ_FALSE;
    }
    place.offset = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

/// A sentence, in memory that is there already: what OpenJPEG complains of may be that there is none.
using Complaint = std::array<char, 256>;

/// Keeps the first sentence.
void keep(const char* message, void* complaint) noexcept {
    auto& kept = *static_cast<Complaint*>(complaint);
    if (kept.front() == '\0') {
        const std::string_view text(message == nullptr || *message == '\0' ? "no reason is given" : message);
        text.copy(kept.data(), kept.size() - 1);
    }
}

/// OpenJPEG warns and goes on where it leaves out what it cannot read. Only these change nothing in the picture.
void keepUnlessHarmless(const char* message, void* complaint) noexcept {
    constexpr std::array<std::string_view, 2> kHarmless{
        "Unknown marker", "Non conformant codestream TPsot==TNsot"}; // Jpeg2000Codestream has looked at both
    const std::string_view text(message == nullptr ? "" : message);
    if (std::none_of(kHarmless.begin(), kHarmless.end(),
                     [&](std::string_view start) { return text.substr(0, start.size()) == start; })) {
        keep(message, complaint);
    }
}

/// Of what it says when it gets no memory, if it says anything. The limits are those of the system.
bool saysMemory(std::string_view complaint) {
    constexpr std::array<std::string_view, 4> kWords{"memory", "allocate", "exceeds system limits", "t1 handle"};
    return std::any_of(kWords.begin(), kWords.end(),
                       [&](std::string_view word) { return complaint.find(word) != std::string_view::npos; });
}

bool hasAllSamples(const opj_image_t& image) {
    return image.numcomps != 0 &&
           std::all_of(image.comps, image.comps + image.numcomps,
                       [](const opj_image_comp_t& component) { return component.data != nullptr; });
}

struct StreamDeleter {
    void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};

struct CodecDeleter {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};

} // namespace

void Jpeg2000Picture::Deleter::operator()(opj_image* image) const { opj_image_destroy(image); }

Jpeg2000Picture::Jpeg2000Picture(std::span<const Uint8> codestream) {
    decode(codestream);
    if (!mImage && mProblem.empty()) {
        mProblem = "OpenJPEG gives no reason";
    }
}

Jpeg2000Picture::~Jpeg2000Picture() = default;

void Jpeg2000Picture::decode(std::span<const Uint8> codestream) {
    Place place{codestream};
    const std::unique_ptr<opj_stream_t, StreamDeleter> stream(opj_stream_default_create(OPJ_TRUE));
    const std::unique_ptr<opj_codec_t, CodecDeleter> codec(opj_create_decompress(OPJ_CODEC_J2K));
    if (!stream || !codec) {
        mProblem = "no memory";
        mHasRunOutOfMemory = true;
        return;
    }
    opj_stream_set_user_data(stream.get(), &place, nullptr);
    opj_stream_set_user_data_length(stream.get(), place.size());
    opj_stream_set_read_function(stream.get(), readFrom);
    opj_stream_set_skip_function(stream.get(), skipIn);
    opj_stream_set_seek_function(stream.get(), seekIn);
    Complaint complaint{};
    opj_set_error_handler(codec.get(), keep, &complaint);
    opj_set_warning_handler(codec.get(), keepUnlessHarmless, &complaint);

    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* image = nullptr;
    errno = 0;
    bool isDecoded = opj_setup_decoder(codec.get(), &parameters) != OPJ_FALSE &&
                     opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE) != OPJ_FALSE &&
                     opj_read_header(stream.get(), codec.get(), &image) != OPJ_FALSE;
    mImage.reset(image);
    isDecoded = isDecoded && opj_decode(codec.get(), stream.get(), image) != OPJ_FALSE &&
                opj_end_decompress(codec.get(), stream.get()) != OPJ_FALSE;
    mHasRunOutOfMemory = errno == ENOMEM || saysMemory(complaint.data());
    if (isDecoded && !hasAllSamples(*image)) { // not that OpenJPEG had said anything
        keep("it gives no samples", &complaint);
    }
    mProblem = complaint.data();
    mProblem.erase(mProblem.find_last_not_of(" \n.") + 1);
    if (!isDecoded || !mProblem.empty()) {
        mImage.reset();
    }
}

std::size_t Jpeg2000Picture::components() const { return mImage ? mImage->numcomps : 0; }

std::span<const std::int32_t> Jpeg2000Picture::samples(std::size_t component, std::size_t columns,
                                                       std::size_t rows) const {
    if (component >= components()) {
        return {};
    }
    const opj_image_comp_t& found = mImage->comps[component];
    const bool isOfSize = found.w == columns && found.h == rows && found.data != nullptr;
    return isOfSize ? std::span<const std::int32_t>(found.data, columns * rows) : std::span<const std::int32_t>();
}

} // namespace radvex
