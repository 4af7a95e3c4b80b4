#pragma once

#include <string>

#include "formats/json/LosslessJson.h"
#include "host/Host.h"

namespace radvex::volume {

/// What the standard attributes of a file say about the acquisition, under the names of BIDS, and under those of
/// dcm2niix where BIDS has none. Times are in seconds, AcquisitionTime is HH:MM:SS.FFFFFF, frequencies are in MHz,
/// other numbers in the unit of the attribute. An attribute with several values becomes an array; what is missing or
/// unusable (not a number, or 0 where that means nothing) is left out. Texts are valid UTF-8.
///
/// Enhanced files say much of this in functional groups (PS3.3 C.7.6.16): that of all frames counts, else that of the
/// first frame.
///
/// Left out on purpose:
/// - what tells the patient, or where and on which day the patient was: names, dates, identifiers, InstitutionName,
///   InstitutionAddress, StationName, DeviceSerialNumber. Free texts (SeriesDescription, ProtocolName) stay.
/// - PhaseEncodingDirection: the standard attribute (0018,1312) gives the axis, which is PhaseEncodingAxis, but no
///   polarity.
/// - FrameTimesStart, and FrameDuration of a PET series of several times: one file does not know the others.
/// @param path  of one file of the volume, the first, for the library; its reader is closed afterwards
/// @throws LibraryError  the file cannot be read
formats::Json bidsSidecar(velmora::Host& host, const std::string& path);

} // namespace radvex::volume
