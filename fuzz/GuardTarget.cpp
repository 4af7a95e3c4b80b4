#include <stdexcept>

#include "fuzz/Choices.h"
#include "guard/GuardedLoad.h"
#include "guard/ParseGuard.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/LoadedTree.h"
#include "tests/support/OrderWarnings.h"

namespace radvex::fuzz {

namespace {

/// The bytes as they are, or as a dataset in a file that is right up to there.
std::string fileOf(const Choices& choices, std::string bytes) {
    static const std::string noMeta = std::string(128, '\0') + "DICM";
    switch (choices.byte(0) % 8) {
    case 1: return test::withMeta(test::kExplicit, bytes);
    case 2: return test::withMeta(test::kImplicit, bytes);
    case 3: return test::withMeta(test::kBigEndian, bytes);
    case 4: return test::withMeta(test::kDeflated, test::deflated(bytes));
    case 5: return noMeta + bytes;
    case 6: return test::withMeta("1.2.3.4.5", bytes);
    case 7: return test::withMeta(test::kJpeg, bytes);
    default: return bytes;
    }
}

/// What DCMTK made of a file.
struct Loaded {
    bool isGood = false;
    std::size_t levels = 0;
    std::size_t outOfOrder = 0;
    std::uint64_t valueBytes = 0;
    bool isDeflated = false;

    bool operator==(const Loaded&) const = default;
};

/// Bytes of all values, and how many there are. Each may be one more than in the file, where that is odd.
std::uint64_t bytesOf(DcmObject& root, std::uint64_t& count) {
    std::uint64_t bytes = 0;
    std::vector<DcmObject*> open{&root};
    while (!open.empty()) {
        DcmObject* object = open.back();
        open.pop_back();
        if (object->isLeaf()) {
            bytes += object->getLengthField() == DCM_UndefinedLength ? 0 : object->getLengthField();
            ++count;
            continue;
        }
        for (DcmObject* part = object->nextInContainer(nullptr); part != nullptr;
             part = object->nextInContainer(part)) {
            open.push_back(part);
        }
    }
    return bytes;
}

/// @param load  loads a file of a path, and tells whether it is loaded
template <typename Load>
Loaded loadWith(Load load, const std::string& path) {
    Loaded loaded;
    DcmFileFormat file;
    const test::OrderWarnings warnings;
    try {
        loaded.isGood = load(file, path);
    } catch (const std::exception&) { // what DCMTK throws for a record type of many characters
        return loaded;
    }
    loaded.levels = test::levelsOf(file);
    loaded.outOfOrder = warnings.count();
    std::uint64_t values = 0;
    loaded.valueBytes = bytesOf(*file.getDataset(), values);
    loaded.valueBytes -= std::min(loaded.valueBytes, values);
    loaded.isDeflated = DcmXfer(file.getDataset()->getOriginalXfer()).getStreamCompression() != ESC_none;
    return loaded;
}

/// Our way of loading a file takes what DCMTK's own takes, and makes the same of it.
void expectSameOfOurs(const std::string& path, const Loaded& loaded) {
    const Loaded ours =
        loadWith([](DcmFileFormat& file, const std::string& from) { return !loadGuarded(file, from, 4096); }, path);
    if (ours.isGood != loaded.isGood || (ours.isGood && ours != loaded)) {
        throw std::runtime_error("DCMTK makes something else of the file when we read it.");
    }
}

void expectRefusal(const std::string& path, const ParseLimits& limits, const char* what) {
    if (!reasonNotToParse(path, limits)) {
        throw std::runtime_error(std::string("The guard lets DCMTK load more than it counted: ") + what + ".");
    }
}

/// With bounds just below what DCMTK loaded the guard has to refuse the file.
void expectBounds(const std::string& path, const Loaded& loaded) {
    if (loaded.levels > 0) {
        ParseLimits limits;
        limits.levels = loaded.levels - 1;
        expectRefusal(path, limits, "levels of sequences");
    }
    if (loaded.outOfOrder > 0) {
        ParseLimits limits; // without sequences there are two items, and one of them has half of all or more
        limits.outOfOrder = loaded.levels == 0 ? (loaded.outOfOrder - 1) / 2 : 0;
        expectRefusal(path, limits, "elements out of order");
    }
    if (loaded.isDeflated && loaded.valueBytes > 0) {
        ParseLimits limits;
        limits.inflatedBytes = loaded.valueBytes - 1;
        expectRefusal(path, limits, "inflated bytes");
    }
}

/// The tree of a directory, which DCMTK makes of any file.
void expectRecordBounds(const std::string& path) {
    std::size_t levels = 0;
    try {
        DcmDicomDir directory(path.c_str());
        levels = test::levelsOfTree(directory);
    } catch (const std::exception&) {
        return;
    }
    if (levels > 0) {
        ParseLimits limits;
        limits.directoryLevels = levels - 1;
        expectRefusal(path, limits, "levels of directory records");
    }
}

} // namespace

void runGuard(Bytes input) {
    const Choices choices(input);
    const Bytes rest = Choices::rest(input);
    const std::string file = fileOf(choices, std::string(rest.begin(), rest.end()));
    const std::string path =
        Harness::instance().write("input.dcm", Bytes(reinterpret_cast<const unsigned char*>(file.data()), file.size()));
    if (reasonNotToParse(path)) {
        return;
    }
    const Loaded loaded =
        loadWith([](auto& whole, const std::string& from) { return test::loadAsTheLibrary(whole, from).good(); }, path);
    const ParseLimits limits;
    if (loaded.levels > limits.levels || loaded.outOfOrder > limits.outOfOrder) {
        throw std::runtime_error("DCMTK went beyond the bounds of a file that the guard let pass.");
    }
    expectSameOfOurs(path, loaded);
    expectBounds(path, loaded);
    expectRecordBounds(path);
}

} // namespace radvex::fuzz
