#pragma once

#include <string>
#include <vector>

#include "fuzz/Harness.h"

namespace radvex::fuzz {

/// What is done with an input.
struct Target {
    std::string name;
    void (*call)(Bytes input);

    /// Calls it and ends the input. It returns whatever the bytes are: what it throws is a finding.
    void run(Bytes input) const {
        Harness& harness = Harness::instance(); // counts the host's objects when it begins
        call(input);
        harness.finish();
    }
};

/// All of them. To add one: declare its function below, list it in Targets.cpp and in CMakeLists.txt, and give it
/// seeds in Seeds.cpp.
const std::vector<Target>& targets();
/// @throws std::invalid_argument  there is none of that name
const Target& targetNamed(const std::string& name);

/// Inputs that carry files start with this many bytes of choices (see Choices); the files follow.
constexpr std::size_t kChoiceBytes = 8;
/// Stands between the files of an input that carries several.
constexpr char kNextFile[] = "\nFILE\n";

/// All reads of attributes of one file.
void runMetadata(Bytes input);
/// ReadImage, ReadImageData and ReadIntermediatePixelData of one file. What is read twice has to be the same.
void runPixels(Bytes input);
/// The same of a codestream of JPEG 2000, in a file whose attributes fit it: mutations reach the codestream at once.
void runJpeg2000(Bytes input);
/// Pictures of one file rendered by table and by DCMTK alone: they have to be the same.
void runTables(Bytes input);
/// Overlay planes of one file: alone, burnt in, and as attributes.
void runOverlays(Bytes input);
/// A DICOMDIR and up to 8 files that it may refer to as "A" to "H".
void runMedium(Bytes input);
/// WriteImage with what the bytes say, then reads of the file: lossless forms have to give the same pixels.
void runWrite(Bytes input);
/// DicomAnonymize and what the command does after it, for one or two files of a run, with replacements between them.
/// Or the steps of a run with a profile, after which no text may hold an identifier. What is written has to open.
void runAnonymize(Bytes input);
/// The guard before DCMTK's parser: what it lets pass is loaded, and must stay within what it counted.
void runGuard(Bytes input);
/// Reads and writes of expressions, one a byte, over a loopback and a pair.
void runTether(Bytes input);
/// Lines of `radvex call -`; a file may follow, which they name "input.dcm".
void runCall(Bytes input);

} // namespace radvex::fuzz
