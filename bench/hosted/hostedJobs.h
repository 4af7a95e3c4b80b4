#pragma once

// The jobs of the benchmarks through the exported functions, called by our host.

#include <string>

#include "host/Host.h"

namespace hosted {

/// One attribute of a file.
void readAttribute(velmora::Host& host, const std::string& path, const std::string& keyword);

/// The same attribute of a file that is open already: prints the median of many calls in microseconds.
void readAttributeAgain(velmora::Host& host, const std::string& path, const std::string& keyword);

/// Opens a file, reads the attribute and closes the file, many times: prints the median in microseconds.
void openAndReadAttribute(velmora::Host& host, const std::string& path, const std::string& keyword);

/// All metadata of a file.
void readMetadata(velmora::Host& host, const std::string& path);

/// The same, and prints how the time divides between opening the file, reading, and the host's nodes.
void divideMetadata(velmora::Host& host, const std::string& path);

/// Pixels by one of the functions that read them.
/// @param function  ReadImage, ReadImageData or ReadIntermediatePixelData
void readPixels(velmora::Host& host, const std::string& function, const std::string& path);

/// Read3DImage with one window for all slices. The volume is written to `out` unless that is empty.
void readRenderedVolume(velmora::Host& host, const std::string& medium, const std::string& out);

/// ReadIntermediatePixelData of every file IM... of a folder, rescaled, by InstanceNumber; written like the above.
void readModalityVolume(velmora::Host& host, const std::string& folder, const std::string& out);

/// Five attributes of every file of a medium.
void readMediumMetadata(velmora::Host& host, const std::string& medium);

/// Writes a multi-frame image of 16 bits.
void writeFrames(velmora::Host& host, const std::string& out, int frames, int side, bool compressed);

/// DicomAnonymize of every file IM... of a folder.
void anonymize(velmora::Host& host, const std::string& folder, const std::string& out);

} // namespace hosted
