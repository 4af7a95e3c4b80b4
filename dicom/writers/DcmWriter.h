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
#include "dicom/writers/WriteOptions.h"

class DPMParametricMapIOD;
class DPMParametricMapImageModule;
class DcmRepresentationParameter;

namespace radvex {

class DcmAnonymizer;
class DcmOverlay;

using ImageArguments = GTU::DataList<GTU::VArgumentType::Image, GTU::Passing::Automatic>;
/// An image of the host.
template <typename T>
using ImageArgument = GTU::Image<T, GTU::Passing::Automatic>;

/// Composes one new DICOM file from an image of the host, or loads one file to anonymize it. Lives for one call.
///
/// A new file is made in this order: image, metadata, overlays, save. Each step overwrites attributes that are there.
class DcmWriter {
  public:
    DcmWriter() : mDataset(mFile.getDataset()) {}
    DcmWriter(const DcmWriter&) = delete;
    DcmWriter& operator=(const DcmWriter&) = delete;
    ~DcmWriter() = default;

    /// Composes the object for the image in argument 1, with its pixels. Integer images become Secondary Capture (a
    /// multi-frame class for several slices), real ones a Parametric Map. Bit images are written as signed 8-bit
    /// pixels, the other integer images as unsigned ones.
    /// @throws GantryError  VArgumentImageError for a type that is none of the five; ImageWriteError (reason) when no
    ///                      class takes such an image, or its pixels need more than 4 GiB; TagWriteError (keyword,
    ///                      reason) for a default value that its attribute does not take; those of Image
    void writeImage(GTU::VArgumentManager& mngr);

    /// Sets attributes: keywords with text, or with a list of lists for a sequence. The last entry of a list is written
    /// first, so that of two entries with the same keyword the first one wins.
    /// @throws GantryError        ReservedTagError (keyword) for what only the library writes; InvalidTagName
    /// (keyword);
    ///                            SequenceTagVRError; VArgumentTypeError; InvalidTagValue (keyword, value);
    ///                            ImageWriteError (reason) for over 100 levels of sequences; those of DataList
    /// @throws std::out_of_range  a text is null
    void writeMetadata(ResultList& metadata);

    /// Adds overlay planes from bit images, each with the options of the same index.
    /// @throws GantryError  OverlayCountError for more than 16, before any is built; ImageTypeError and the others of
    ///                      Image; those of DcmOverlay
    void writeOverlay(ImageArguments& overlays, const std::vector<OverlayOptions>& options);
    /// The planes that writeOverlay adds. @throws the same
    static std::unique_ptr<DcmOverlay> createDcmOverlay(ImageArguments& overlays,
                                                        const std::vector<OverlayOptions>& options);

    /// Loads a file, with its strings in UTF-8 if its character set allows.
    /// @throws GantryError  PathNotValidated (path) when the host does not permit writing it, although it is only read;
    ///                      OpenFileError (path, reason)
    void loadDataFromFile(const std::string& path);

    /// @throws GantryError  AnonymizationError (reason)
    void anonymize(const DcmAnonymizer& anonymizer, bool regenerateSopInstanceUid);

    /// Writes the file. A loaded one keeps its transfer syntax and its meta information; a new one is written in
    /// Implicit VR Little Endian, or compressed. The parameters of a compression are
    ///
    ///   JPEGLossless                    not used, the prediction is always 1; point transform
    ///   JPEGLosslessNonhierarchical     prediction, 1 to 7; point transform
    ///   JPEGLossy8bit, JPEGLossy12bit   quality, 0 to 100
    ///   JPEG-LSLossy                    largest deviation of a sample, cut to 16 bits
    ///   JPEG-LSLossless, RLE            none
    ///
    /// The saved file is checked: it is whole, and it can be decoded if compression did not make it smaller. After a
    /// failure a part of the file may be left.
    /// @throws GantryError  PathNotValidated (path); TagWriteError (keyword, reason); ImageWriteError (reason, or
    ///                      nothing when DCMTK refuses the compression)
    void saveFile(const std::string& path, const ImageWriteOptions& options);

    // Default values of attributes that a file needs and an image does not have. All writers share them, and they are
    // kept until the library is unloaded.

    /// @throws GantryError  InvalidTagName (keyword) when there is no default value for it
    static std::string getDefaultTagValue(const std::string& keyword);
    /// Takes any keyword of the dictionary, even one that metadata must not set or that no file gets.
    /// @throws GantryError  InvalidTagName (keyword), InvalidTagValue (keyword, value)
    static void setDefaultTagValue(const std::string& keyword, const std::string& value);

  private:
    MemoryWatch mMemory{}; // a file is not written when memory was refused: parts of it may be missing

    // Integer images.
    template <typename T>
    std::unique_ptr<DcmIODCommon> createIntegerImage(const ImageArgument<T>& image) const;
    void initializeIodCommonModules(DcmIODCommon& iod) const;
    template <typename T, typename Module>
    void initializeImagePixelModule(IODImagePixelVariant<Module>& pixelModule, const ImageArgument<T>& image) const;

    // Real images.
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

    // Saving.
    void saveLoaded(const std::string& path);
    void saveCompressed(const std::string& path, const ImageWriteOptions& options);
    void saveAs(const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode);
    std::unique_ptr<DcmRepresentationParameter> getRepresentationParameter(E_TransferSyntax syntax,
                                                                           const ImageWriteOptions& options) const;

    /// The default value of a keyword; empty when there is none.
    static OFString defaultOf(const std::string& keyword);

    DcmFileFormat mFile{};
    DcmDataset* mDataset;                         ///< the dataset of mFile
    E_TransferSyntax mOriginalXfer = EXS_Unknown; ///< that of a loaded file
    bool mLoadedFromFile = false;

    static std::unordered_map<std::string, std::string> mDefaultTagValues;
    /// Keywords that only the library writes.
    static const std::unordered_set<std::string> mInferredTagSet;
    static const std::unordered_map<std::string, E_TransferSyntax> mTransferSyntaxMap;
};

} // namespace radvex
