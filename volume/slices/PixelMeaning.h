#pragma once

#include <optional>
#include <string>

#include "formats/json/LosslessJson.h"
#include "host/Host.h"

namespace radvex::volume {

/// The meaning of the stored pixel values of a file, from its attributes.
struct PixelMeaning {
    vint frames = 1;
    bool isSigned = false;
    std::optional<vint> bitsStored{};
    std::optional<double> slope{};
    std::optional<double> intercept{};
    std::string unit{}; ///< of the rescaled values; empty if unknown
    std::string photometricInterpretation{};
};

/// The unit of the modality values: that of RescaleType, of Units in a PET, of DoseUnits in a dose; HU for a rescaled
/// CT that says nothing else (PS3.3 C.11.1.1.2). Empty if unknown, or if there is no slope or scaling.
/// @param attributes  with RescaleType, Units, DoseUnits, Modality, RescaleSlope and DoseGridScaling
std::string unitOf(velmora::StoreView attributes);

/// @throws VolumeError  see requireKnownByteOrder
PixelMeaning readPixelMeaning(velmora::Host& host, const std::string& file);

/// Refuses big-endian pixels of 32 bits: DCMTK exchanges the bytes of their halves only, and the values would be wrong.
/// @throws VolumeError
void requireKnownByteOrder(const std::string& file, vint bitsAllocated);

/// The same as JSON members; unknown ones are null. "polarity" is that of the numbers that the command gives:
/// MONOCHROME2 for a rendered grey picture, that of the file for unrendered values, and null for colour.
formats::Json describeMeaning(const PixelMeaning& meaning, bool isRendered);

/// Smallest, largest and mean value.
struct Statistics {
    double minimum = 0;
    double maximum = 0;
    double mean = 0;
};

template <typename T>
Statistics statisticsOf(const T* values, std::size_t count) {
    Statistics result;
    if (count == 0) {
        return result;
    }
    double sum = 0;
    T minimum = values[0];
    T maximum = values[0];
    for (std::size_t index = 0; index < count; ++index) {
        minimum = values[index] < minimum ? values[index] : minimum;
        maximum = values[index] > maximum ? values[index] : maximum;
        sum += static_cast<double>(values[index]);
    }
    return {static_cast<double>(minimum), static_cast<double>(maximum), sum / static_cast<double>(count)};
}

Statistics statisticsOf(const velmora::Image& image);
Statistics statisticsOf(const VelmoraNumericArray& array);

void addStatistics(formats::Json& json, const Statistics& statistics);
std::string textOf(const Statistics& statistics);

} // namespace radvex::volume
