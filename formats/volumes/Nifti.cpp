#include "formats/volumes/Nifti.h"

#include <nifti2_io.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <tuple>

namespace radvex::formats {

namespace {

static_assert(std::endian::native == std::endian::little,
              "The header and the samples are written as they lie in memory.");
static_assert(sizeof(nifti_1_header) == 348);

constexpr std::size_t kHeaderSize = 352;
constexpr vint kLongestAxis = 32767;

/// Code and bits of an element.
std::pair<short, short> typeOf(const VolumeHeader& header) {
    if (header.channels > 1) {
        if (header.type != VNumericArray_U8) {
            throw VolumeError("NIfTI holds colour of 8 bits only; .nrrd and .npy hold this volume.");
        }
        return {DT_RGB24, 24};
    }
    switch (header.type) {
    case VNumericArray_S8: return {DT_INT8, 8};
    case VNumericArray_U8: return {DT_UINT8, 8};
    case VNumericArray_S16: return {DT_INT16, 16};
    case VNumericArray_U16: return {DT_UINT16, 16};
    case VNumericArray_S32: return {DT_INT32, 32};
    case VNumericArray_U32: return {DT_UINT32, 32};
    case VNumericArray_F32: return {DT_FLOAT32, 32};
    default: return {DT_FLOAT64, 64};
    }
}

short axis(const char* name, vint samples) {
    if (samples > kLongestAxis) {
        throw VolumeError("NIfTI holds up to 32767 samples along an axis, and this volume has " +
                          std::to_string(samples) + " " + name + "; .nrrd and .npy hold it.");
    }
    return static_cast<short>(samples);
}

Vector3 toRas(const Vector3& lps) { return {-lps[0], -lps[1], lps[2]}; }

/// Axes of a volume as unit vectors in RAS.
struct Axes {
    Vector3 column;
    Vector3 row;
    Vector3 slice;
};

Axes axesOf(const VolumeGeometry& geometry) {
    const auto unit = [](const Vector3& step) { return toRas(1 / length(step) * step); };
    return {unit(geometry.columnStep), unit(geometry.rowStep), unit(geometry.sliceStep)};
}

/// A rotation may stand for the axes if nothing moves by more than a tenth of a sample at the far end.
bool isOrthogonal(const Axes& axes, const VolumeHeader& volume) {
    const VolumeGeometry& geometry = volume.geometry;
    const double steps[] = {length(geometry.columnStep), length(geometry.rowStep), length(geometry.sliceStep)};
    const double extents[] = {steps[0] * volume.columns, steps[1] * volume.rows, steps[2] * volume.slices};
    const auto isRight = [&](double cosine, std::size_t a, std::size_t b) {
        return std::abs(cosine) * std::max(extents[a] / steps[b], extents[b] / steps[a]) <= 0.1;
    };
    return isRight(dot(axes.column, axes.row), 0, 1) && isRight(dot(axes.column, axes.slice), 0, 2) &&
           isRight(dot(axes.row, axes.slice), 1, 2);
}

/// The header has 32-bit numbers, whose last digit has to be finer than a tenth of a sample.
void requireExact(const VolumeGeometry& geometry) {
    const double finest =
        0.1 * std::min({length(geometry.columnStep), length(geometry.rowStep), length(geometry.sliceStep)});
    for (const Vector3& step : {geometry.columnStep, geometry.rowStep, geometry.sliceStep}) {
        const auto size = static_cast<float>(length(step));
        if (!std::isnormal(size)) {
            throw VolumeError("NIfTI holds spacings of 32 bits only, and this one is beyond them; .nrrd holds it.");
        }
    }
    for (const double part : geometry.origin) {
        if (!(std::abs(part - static_cast<double>(static_cast<float>(part))) <= finest)) {
            throw VolumeError(
                "NIfTI holds positions of 32 bits only, which are too coarse for this volume; .nrrd holds "
                "it.");
        }
    }
}

void setAffineForm(nifti_1_header& header, const VolumeGeometry& geometry) {
    const Vector3 steps[] = {toRas(geometry.columnStep), toRas(geometry.rowStep), toRas(geometry.sliceStep),
                             toRas(geometry.origin)};
    float* const rows[] = {header.srow_x, header.srow_y, header.srow_z};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            rows[row][column] = static_cast<float>(steps[column][row]);
        }
    }
    header.sform_code = NIFTI_XFORM_SCANNER_ANAT;
}

/// Rounds the last three parts of a unit quaternion to the header's floats.
std::array<float, 3> roundQuaternion(const Vector3& quaternion) {
    constexpr double kNothing = 1e-10; // the square of a first part below this is rounding alone
    std::array<float, 3> parts{static_cast<float>(quaternion[0]), static_cast<float>(quaternion[1]),
                               static_cast<float>(quaternion[2])};
    const auto squareOfFirst = [&] {
        return 1.0 - dot({parts[0], parts[1], parts[2]}, {parts[0], parts[1], parts[2]});
    };
    // Readers compute the first part from the length 1. For half a turn it is 0, but if rounding shortened the other
    // parts, readers get up to 2e-4, which turns the volume visibly. If the length is rounded up, they get 0.
    if (1 - dot(quaternion, quaternion) < kNothing) {
        float& largest =
            *std::max_element(parts.begin(), parts.end(), [](float a, float b) { return std::abs(a) < std::abs(b); });
        while (squareOfFirst() > kNothing) {
            largest = std::nextafter(largest, largest < 0 ? -2.0F : 2.0F);
        }
    }
    return parts;
}

void setRotationForm(nifti_1_header& header, const VolumeGeometry& geometry, const Axes& axes) {
    nifti_dmat44 matrix{};
    for (std::size_t row = 0; row < 3; ++row) {
        matrix.m[row][0] = axes.column[row];
        matrix.m[row][1] = axes.row[row];
        matrix.m[row][2] = axes.slice[row];
    }
    Vector3 exact{};
    double thirdAxis = 1; // -1: reversed
    nifti_dmat44_to_quatern(matrix, &exact[0], &exact[1], &exact[2], nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, &thirdAxis);
    const auto quaternion = roundQuaternion(exact);
    const Vector3 origin = toRas(geometry.origin);
    header.pixdim[0] = static_cast<float>(thirdAxis);
    header.quatern_b = quaternion[0];
    header.quatern_c = quaternion[1];
    header.quatern_d = quaternion[2];
    header.qoffset_x = static_cast<float>(origin[0]);
    header.qoffset_y = static_cast<float>(origin[1]);
    header.qoffset_z = static_cast<float>(origin[2]);
    header.qform_code = NIFTI_XFORM_SCANNER_ANAT;
}

/// The header has no field for the unit of the values.
void describe(nifti_1_header& header, const VolumeHeader& volume) {
    std::string text = volume.unit;
    if (volume.isResampled) {
        text += text.empty() ? "resampled" : "; resampled";
    }
    text.resize(std::min(text.size(), sizeof header.descrip - 1));
    std::ranges::copy(text, header.descrip);
}

} // namespace

std::string niftiHeader(const VolumeHeader& volume) {
    nifti_1_header header{};
    const VolumeGeometry& geometry = volume.geometry;
    header.sizeof_hdr = sizeof header;
    std::tie(header.datatype, header.bitpix) = typeOf(volume);
    const short sizes[] = {axis("columns", volume.columns), axis("rows", volume.rows), axis("slices", volume.slices),
                           axis("volumes", volume.volumes)};
    std::ranges::fill(header.dim, short{1}); // of the unused axes
    header.dim[0] = volume.volumes > 1 ? 4 : 3;
    std::ranges::copy(sizes, header.dim + 1);
    std::ranges::fill(header.pixdim, 1.0F); // the orientation, and the spacings of the unused axes
    header.pixdim[1] = static_cast<float>(length(geometry.columnStep));
    header.pixdim[2] = static_cast<float>(length(geometry.rowStep));
    header.pixdim[3] = static_cast<float>(length(geometry.sliceStep));
    requireExact(geometry);
    if (!std::isnormal(static_cast<float>(volume.slope)) || !std::isfinite(static_cast<float>(volume.intercept))) {
        throw VolumeError(
            "NIfTI holds slope and intercept of 32 bits only, and these are beyond them; without --stored "
            "they are applied.");
    }
    header.vox_offset = kHeaderSize;
    header.scl_slope = static_cast<float>(volume.slope);
    header.scl_inter = static_cast<float>(volume.intercept);
    header.xyzt_units = NIFTI_UNITS_MM;
    if (volume.secondsBetweenVolumes > 0) {
        header.pixdim[4] = static_cast<float>(volume.secondsBetweenVolumes);
        header.xyzt_units |= NIFTI_UNITS_SEC;
    }
    describe(header, volume);
    std::memcpy(header.magic, "n+1", 4);
    if (geometry.hasPosition) {
        setAffineForm(header, geometry);
        if (const Axes axes = axesOf(geometry); isOrthogonal(axes, volume)) {
            setRotationForm(header, geometry, axes);
        }
    }
    std::string bytes(kHeaderSize, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

} // namespace radvex::formats
