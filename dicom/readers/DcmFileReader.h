#pragma once

#include <initializer_list>
#include <memory>

#include "bridge/containers/Image.h"
#include "bridge/containers/NumericArray.h"
#include "dicom/metadata/RegexFilter.h"
#include "dicom/pixels/ImageOptions.h"
#include "dicom/pixels/Picture.h"
#include "dicom/readers/DcmReader.h"
#include "dicom/readers/InfoTables.h"

namespace radvex {

using ImageList = GTU::DataList<GTU::VArgumentType::Image, GTU::Passing::Manual>;
using ArrayList = GTU::DataList<GTU::VArgumentType::NumericArray, GTU::Passing::Manual>;

/// Reads one DICOM object.
class DcmFileReader : public DcmReader {
  public:
    /// As DcmReader's. @throws GantryError  PathNotValidated (path), OpenFileError (path, reason)
    explicit DcmFileReader(const std::string& path) : DcmReader(path) { convertTexts(); }

    using DcmReader::requireWhole;

    /// For a reader of one call: pixels that are still in the file are read block by block where that is possible, and
    /// do not stay in memory.
    void leavePixelsInFile() { mLeavesPixelsInFile = true; }

    /// Fields by the keys of PATIENT_INFO_MAP, STUDY_INFO_MAP or SERIES_INFO_MAP, each under its attribute's own key. A
    /// file that does not pass the filter gives an empty list, an attribute that it does not have no node.
    /// @throws GantryError  InvalidTagName (the field)
    ResultList readPatientInfo(NameList& fields, const RegexFilter& filter) const override;
    ResultList readStudyInfo(NameList& fields, const RegexFilter& filter) const override;
    ResultList readSeriesInfo(NameList& fields, const RegexFilter& filter) const override;

    /// InstanceNumber (0020,0013), 0 when absent.
    int getInstanceNumber() const;
    /// NumberOfFrames (0028,0008), 0 when absent: 0 and not 1 for a single-frame file.
    int getFrameCount() const;
    /// RepresentativeFrameNumber (0028,6010), 0 when absent.
    unsigned int getRepresentativeFrame() const;
    /// Overlay planes with data of their own, (60xx,3000) for the 16 even groups from 6000 on (PS3.3 C.9.2). Planes in
    /// unused bits of the pixel data do not count.
    int getOverlayCount() const;
    /// All values of an attribute, joined by "\".
    std::string readInfo(const DcmTagKey& key) const;

    // Pictures. Each read opens the pixels anew, so that windows and overlays never carry over; only a missing
    // PixelRepresentation (0) stays in the dataset.

    /// What becomes of the dataset's pixels once DCMTK has made its own of them.
    enum class PixelsAfterwards {
        stay, ///< for the next read
        go    ///< this reader gives no picture again; a series holds a third less memory so
    };

    /// @throws GantryError  ImageOpenError (path, status) when DCMTK cannot open the pixels, or when they promise over
    ///                      256 MiB more than they hold
    std::unique_ptr<DicomImage> openDicomImage(const ImageOpenOptions& options,
                                               PixelsAfterwards afterwards = PixelsAfterwards::stay) const;
    /// What a picture will be asked for.
    struct PictureUse {
        bool showsOverlays = false; ///< burnt in: then it matters where a pixel stands
        bool needsValues = false;   ///< those before the window
        bool isByPixel = false;     ///< colour by pixel, however it is stored; otherwise as it is stored
        PixelsAfterwards afterwards = PixelsAfterwards::stay;
    };
    /// The same, to be rendered on the shortest road that gives DCMTK's own bytes.
    std::unique_ptr<Picture> openPicture(const ImageOpenOptions& options, const PictureUse& use) const;

    /// The rendered picture as the result of the call, or as a node named by the path: [row][column], or
    /// [frame][row][column] for several frames; u8 up to 8 bits, u16 up to 16, else f32 from 0 to 1; grey or RGB.
    ///
    /// What DCMTK cannot render is copied from Pixel Data as it lies: all frames, no window, no overlays, in the type
    /// of BitsAllocated. Pixels that the value does not hold are 0.
    /// @throws GantryError  ImageOpenError (path, status; or path alone for BitsAllocated other than 8, 16, 32, 64);
    ///                      ImageReadError (path) when the fallback fits neither; DimensionsError beyond `vint`
    /// @throws std::invalid_argument  a number that the fallback needs is missing
    void readImage(GTU::VArgumentManager& manager, const ImageReadOptions& options) const;
    void readImage(ImageList& list, const ImageReadOptions& options) const;

    /// The rendered frames as arrays: [row][column], with three samples behind or in front for colour, as
    /// PlanarConfiguration says; u8, u16, or f32 from 0 to 1. There is no fallback.
    /// @throws GantryError  ImageOpenError (path, status); ImageReadError (path); NumericArrayNewError;
    ///                      NumericArrayConversionError (text)
    ArrayList readImageData(const ImageReadOptions& options) const;

    /// Values after the modality transformation and before any window: [row][column], or [frame][row][column] for
    /// several frames, in the type that DCMTK chose for the rescaled range. Unit: that of the file's rescale. Of colour
    /// only the first plane.
    /// @throws GantryError  ImageOpenError (path, status); RawPixelReadError (path); RawPixelCountError (samples found,
    ///                      samples expected); DimensionsError; NumericArrayNewError
    template <typename Target>
    void readIntermediatePixelData(Target& target, const ImageOpenOptions& options) const;

    /// The first overlay plane, in its first frame, as a bit image of its own size.
    /// @throws GantryError  ImageOpenError (path, status); OverlayReadError (path) without planes and for colour
    void readOverlay(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const;
    void readOverlay(ImageList& list, const ImageOpenOptions& options) const;
    /// All overlay planes, named "1", "2" and on; an empty list without planes.
    void readOverlays(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const;
    void readOverlays(ImageList& list, const ImageOpenOptions& options) const;

  private:
    /// Makes the pixels ready for DCMTK. @return the flags to open them with
    /// @throws GantryError  ImageOpenError (path, reason) for what DCMTK must not open
    unsigned long prepareToOpen(const ImageOpenOptions& options) const;
    /// openDicomImage for overlays too that have no image.
    std::unique_ptr<DicomImage> openPixelsAndOverlays(const ImageOpenOptions& options,
                                                      PixelsAfterwards afterwards) const;
    std::unique_ptr<DicomImage> openPrepared(const ImageOpenOptions& options, unsigned long flags,
                                             PixelsAfterwards afterwards) const;
    void requirePixels() const;
    bool hasOverlays() const;
    template <typename Target>
    void readImageImpl(Target& target, const ImageReadOptions& options) const;
    template <typename Target>
    void readImageFallback(Target& target) const;
    template <typename T>
    GTU::Image<T, GTU::Passing::Manual> getImageFallback() const;
    template <typename T>
    GTU::Image<T, GTU::Passing::Manual> getOverlay(DicomImage& image, unsigned int plane) const;
    /// PlanarConfiguration (0028,0006), 0 when absent.
    Uint16 planarConfiguration() const;

    template <typename T>
    void setImage(GTU::VArgumentManager& manager, GTU::Image<T, GTU::Passing::Manual>&& image) const {
        manager.setResult(image);
    }
    template <typename T>
    void setImage(ImageList& list, GTU::Image<T, GTU::Passing::Manual>&& image) const {
        addImage(list, filePath, std::move(image));
    }
    template <typename T>
    static void addImage(ImageList& list, const std::string& name, GTU::Image<T, GTU::Passing::Manual>&& image) {
        image.setOwnedByLibrary(false); // the list's from here on
        GTU::Argument<GTU::VArgumentType::Image>::addDataStoreNode(list.getInternal(), name, image.getInternal());
    }

    ResultList readFields(NameList& fields, const InfoTable& table, const std::vector<MatchingProperty>& tests) const;

    bool mLeavesPixelsInFile = false;
};

/// No file is known with which DCMTK gives another number of samples than its shape has; nothing is copied if one does.
/// @throws GantryError  RawPixelCountError (samples found, samples expected)
void requirePixelCount(unsigned long found, unsigned long expected);

/// Unpacks the words of Overlay Data, lowest bit first, into an array of 0 and 1.
/// @throws GantryError  NumericArrayNewError, DimensionsError
GTU::NumericArray<signed char, GTU::Passing::Manual> readOverlayDataBuffer(const Uint16* data, unsigned long wordCount,
                                                                           std::initializer_list<int> dims);

} // namespace radvex
