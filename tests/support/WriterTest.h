#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"

namespace radvex::test {

/// Arguments of WriteImage beside the path.
struct WriteArguments {
    velmora::Image image;
    velmora::Store metadata = velmora::Store::empty();
    velmora::Store overlays = velmora::Store::empty();
    std::string compression = "Uncompressed";
    vint first = 0;
    vint second = 0;
    velmora::Store overlayOptions = velmora::Store::empty();
};

/// An image whose elements count in steps of 7 from 3 on, within the type.
/// @param slices  0 for a 2D image
velmora::Image spelledImage(vint type, vint slices, vint rows, vint columns, vint channels, bool interleaved = true);

/// A store of named texts.
velmora::Store texts(const std::vector<std::pair<std::string, std::string>>& entries);

/// A test that writes files through the host and looks at them with DCMTK.
class WriterTest : public LibraryTest {
  protected:
    void TearDown() override;

    /// Sets the default value of an attribute until the end of the test.
    void setDefault(const std::string& keyword, const std::string& value);
    std::string defaultOf(const std::string& keyword);

    std::vector<velmora::Value> valuesOf(const std::string& path, const WriteArguments& arguments) const;
    /// Writes the file `name` and gives its path.
    std::string write(const WriteArguments& arguments, const std::string& name = "w.dcm");
    /// Code and message of a write.
    int writeCode(const WriteArguments& arguments);
    std::string writeMessage(const WriteArguments& arguments);
    bool wasWritten() const;

    /// Writes a 2 x 3 image of bytes with metadata.
    WriteArguments withMetadata(velmora::Store metadata) const;

    /// Loads the file into `loaded` and gives its dataset.
    DcmDataset& load(const std::string& path);
    /// All values of an attribute of what was loaded; "(none)" when it is absent.
    std::string valueOf(const DcmTagKey& key);
    std::string metaValueOf(const DcmTagKey& key);
    void expectValues(const Attributes& expected);
    /// Stored pixel values of all frames, as the library reads them.
    std::vector<int> storedValues(const std::string& path);

    DcmFileFormat loaded{};

  private:
    std::map<std::string, std::string> mDefaultsBefore{};
};

} // namespace radvex::test
