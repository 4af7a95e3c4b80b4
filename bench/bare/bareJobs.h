#pragma once

// The jobs of the benchmarks with DCMTK alone, opened and read as the library does it. What fails ends the program.

#include <memory>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

namespace bare {

[[noreturn]] void fail(const std::string& sentence);
void check(const OFCondition& condition);

/// Parses a file as the library does: its character set becomes UTF-8, its pixels are decoded.
std::unique_ptr<DcmFileFormat> open(const std::string& path);

/// Needed before files with compressed pixels are opened.
void registerDecoders();

/// One attribute of a file.
void readAttribute(const std::string& path, const std::string& keyword);

/// Every value of every element, at any depth.
void readMetadata(const std::string& path);

/// Every frame windowed into one buffer, in 8 or 16 bits.
void readRendered(const std::string& path);

/// The values after the modality transformation, copied.
void readIntermediate(const std::string& path);

/// Slices by InstanceNumber, one window for all, 16 bits in one buffer, which is written to `out` unless that is empty.
void readRenderedVolume(const std::string& medium, const std::string& out);

/// Rescaled values of the slices by InstanceNumber in one buffer, one file open at a time; written like the above.
void readModalityVolume(const std::string& medium, const std::string& out);

/// Five attributes of every file of a medium, one file open at a time.
void readMediumMetadata(const std::string& medium);

/// Composes a multi-frame image of 16 bits and saves it.
void writeFrames(const std::string& out, int frames, int side, bool compressed);

/// New UIDs, PatientID and StudyID for every file IM... of a folder.
void anonymize(const std::string& folder, const std::string& out);

} // namespace bare
