#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "bridge/VArgumentManager.h"
#include "bridge/containers/Image.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "dcmtk/dcmiod/iodimage.h"
#include "dicom/metadata/ElementConversion.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/writers/WriteOptions.h"

class DPMParametricMapIOD;
class DPMParametricMapImageModule;
class DcmRepresentationParameter;

namespace radvex {

class DcmAnonymizer;
class DcmOverlay;
struct PendingTag;
class PendingTags;

using ImageArguments = GTU::DataList<GTU::VArgumentType::Image, GTU::Passing::Automatic>;
/// An image that the host handed in.
template <typename T>
using ImageArgument = GTU::Image<T, GTU::Passing::Automatic>;

/// Composes one new DICOM file from an image of the host, or takes up one file to anonymize it. Lives for one call.
///
/// An image, then metadata, then overlays, then the save: what comes later goes on top of what is there.
class DcmWriter {
  public:
    DcmWriter() : mDataset(mFile.getDataset()) {}
    DcmWriter(const DcmWriter&) = delete;
    DcmWriter& operator=(const DcmWriter&) = delete;
    ~DcmWriter() = default;

    /// Composes the object for the image in argument 1, with its pixels. Integer images become Secondary Capture (a
    /// multi-frame class for several slices), real ones a Parametric Map. Bit images are written as 8 bits signed, the
    /// others unsigned.
    /// @throws GantryError  VArgumentImageError for a type that is none of the five; ImageWriteError (reason) when
    ///                      there is no class for such an image, or pixels over 4 GiB; TagWriteError (keyword, reason)
    ///                      for a default value that does not fit where it is written; those of Image
    void writeImage(GTU::VArgumentManager& mngr);

    /// Puts metadata on top of what the image gave: keywords with text, or with a list of lists for a sequence. The
    /// last entry of a list is handled first, so that of two entries with one keyword the first one wins.
    /// @throws GantryError        ReservedTagError (keyword) for what follows from the image; InvalidTagName (keyword);
    ///                            SequenceTagVRError; VArgumentTypeError; InvalidTagValue (keyword, value);
    ///                            ImageWriteError (reason) for over 100 levels of sequences; those of DataList
    /// @throws std::out_of_range  null text
    void writeMetadata(ResultList& metadata);

    /// Adds overlay planes from bit images, with the options of the same place.
    /// @throws GantryError  OverlayCountError for more than 16, before any is built; ImageTypeError and the others of
    ///                      Image; those of DcmOverlay
    void writeOverlay(ImageArguments& overlays, const std::vector<OverlayOptions>& options);
    /// The planes alone. @throws as writeOverlay
    static std::unique_ptr<DcmOverlay> createDcmOverlay(ImageArguments& overlays,
                                                        const std::vector<OverlayOptions>& options);

    /// Takes up a file, its strings in UTF-8 if its character set allows.
    /// @throws GantryError  PathNotValidated (path) when the host does not let it be written, though it is only read;
    ///                      OpenFileError (path, reason)
    void loadDataFromFile(const std::string& path);

    /// @throws GantryError  AnonymizationError (reason)
    void anonymize(const DcmAnonymizer& anonymizer, bool regenerateSopInstanceUid);

    /// Writes the file: one that was taken up in its own transfer syntax with its meta information as it was, a new one
    /// in Implicit VR Little Endian, or compressed. The parameters of a compression are
    ///
    ///   JPEGLossless                    not used, the prediction is always 1; point transform
    ///   JPEGLosslessNonhierarchical     prediction, 1 to 7; point transform
    ///   JPEGLossy8bit, JPEGLossy12bit   quality, 0 to 100
    ///   JPEG-LSLossy                    largest deviation of a sample, cut to 16 bits
    ///   JPEG-LSLossless, RLE            none
    ///
    /// What was saved is whole, and decodes when compression made it larger; a file that failed may be left in part.
    /// @throws GantryError  PathNotValidated (path); TagWriteError (keyword, reason); ImageWriteError (reason, or
    ///                      nothing when DCMTK refuses the compression)
    void saveFile(const std::string& path, const ImageWriteOptions& options);

    // Values for attributes that an image does not tell and a file must have. All writers share them, and they stay
    // until the library is unloaded.

    /// @throws GantryError  InvalidTagName (keyword) for one without such a value
    static std::string getDefaultTagValue(const std::string& keyword);
    /// Takes any keyword of the dictionary; those that metadata must not set too, and those that nothing reads.
    /// @throws GantryError  InvalidTagName (keyword), InvalidTagValue (keyword, value)
    static void setDefaultTagValue(const std::string& keyword, const std::string& value);

  private:
    MemoryWatch mMemory{}; // what is composed without enough of it is not written

    // The object of an integer image.
    template <typename T>
    std::unique_ptr<DcmIODCommon> createIntegerImage(const ImageArgument<T>& image) const;
    void initializeIodCommonModules(DcmIODCommon& iod) const;
    template <typename T, typename Module>
    void initializeImagePixelModule(IODImagePixelVariant<Module>& pixelModule, const ImageArgument<T>& image) const;

    // The object of a real image: a Parametric Map.
    template <typename T>
    std::unique_ptr<DcmIODCommon> createDcmImage(const ImageArgument<T>& image) const;
    template <typename T>
    std::unique_ptr<DcmIODCommon> createDcmParametricMapImage(const ImageArgument<T>& image) const;
    template <typename T>
    void initializeParametricMapModules(DPMParametricMapIOD& iod, const ImageArgument<T>& image) const;
    template <typename T>
    void initializeParametricMapImageModule(DPMParametricMapImageModule& module) const;
    void addSharedFunctionalGroups(DPMParametricMapIOD& iod) const;

    template <typename T>
    void writePixelDataToDataset(const ImageArgument<T>& image);

    // Metadata.
    static void writeTag(PendingTag& tag, PendingTags& pending);
    static void writeSequence(PendingTag& tag, const DcmTagKey& key, PendingTags& pending);

    // Saving.
    void saveLoaded(const std::string& path);
    void saveCompressed(const std::string& path, const ImageWriteOptions& options);
    void saveAs(const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode);
    std::unique_ptr<DcmRepresentationParameter> getRepresentationParameter(E_TransferSyntax syntax,
                                                                           const ImageWriteOptions& options) const;

    /// The value under a keyword; empty when there is none.
    static OFString defaultOf(const std::string& keyword);

    DcmFileFormat mFile{};
    DcmDataset* mDataset;                         ///< the dataset of mFile
    E_TransferSyntax mOriginalXfer = EXS_Unknown; ///< that of the file that was taken up
    bool mLoadedFromFile = false;

    static std::unordered_map<std::string, std::string> mDefaultTagValues;
    /// Keywords that only the library writes.
    static const std::unordered_set<std::string> mInferredTagSet;
    static const std::unordered_map<std::string, E_TransferSyntax> mTransferSyntaxMap;
};

} // namespace radvex
