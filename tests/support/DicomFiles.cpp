#include "tests/support/DicomFiles.h"

#include <stdexcept>

namespace radvex::test {

std::string writeDicom(const std::string& path, const Fill& fill, E_TransferSyntax syntax) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
    dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3.4.5");
    if (fill) {
        fill(dataset);
    }
    const OFCondition saved = file.saveFile(path.c_str(), syntax);
    if (saved.bad()) {
        throw std::runtime_error("Cannot write " + path + ": " + saved.text());
    }
    return path;
}

} // namespace radvex::test
