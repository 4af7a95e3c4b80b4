#pragma once

#include <memory>

#include "dicom/readers/DcmFileReader.h"

class DcmDirectoryRecord;

namespace radvex {

/// Reads a DICOMDIR and the files that it references (PS3.10 section 8, PS3.3 annex F).
///
/// Below, P, S and R are the keys of patient, study and series: PatientID, StudyInstanceUID and SeriesInstanceUID or,
/// where a record has none, PatientName, StudyID and SeriesNumber. Nodes are in directory order. Every read takes the
/// directory anew from its file; readers of the referenced files are its own and are never cached.
class DcmDirReader : public DcmReader {
  public:
    using DcmReader::DcmReader;

    // What the directory itself says; no referenced file is opened.

    /// Fields by the keys of PATIENT_INFO_MAP: P -> {attribute -> value}, for the patients that pass.
    /// @throws GantryError  InvalidTagName (the field), once a record asks for it
    ResultList readPatientInfo(NameList& fields, const RegexFilter& filter) const override;
    /// Fields by the keys of STUDY_INFO_MAP: P -> {S -> {attribute -> value}}. A patient without a study that passes is
    /// an empty store.
    ResultList readStudyInfo(NameList& fields, const RegexFilter& filter) const override;
    /// Fields by the keys of SERIES_INFO_MAP: P -> {S -> {R -> {attribute -> value}}}. A series without a key is left
    /// out; empty stores stay at the upper levels.
    ResultList readSeriesInfo(NameList& fields, const RegexFilter& filter) const override;
    /// P -> {S -> {R -> list of file names}}, in directory order. Studies and series without a key are left out.
    /// @param absolute  paths that start with the directory's own path, not relative to it
    void readStructure(GTU::VArgumentManager& manager, const RegexFilter& filter, bool absolute) const;

    // Pictures: P -> {S -> {R -> value}}. A series that fails the filter stands there with an empty store as value, so
    // that a client sees every series of a study. Studies and series without a key are left out. Files are in the
    // order of InstanceNumber; those that cannot be opened are left out without a word.

    /// For each series a store of its pictures, named by their paths, as DcmFileReader::readImage gives them. A file
    /// that cannot be rendered leaves no node.
    /// @throws GantryError  ImageOpenError (path, status) when the common window asks for a file that is no image
    void readImageList(GTU::VArgumentManager& manager, const RegexFilter& filter, ImageReadOptions options) const;

    /// For each series a volume, [slice][row][column] or [slice][row][column][channel], u8 when its first image has 8
    /// bits, else u16; grey or RGB as its first image. Slice 0 is the lowest InstanceNumber; where the slices lie in
    /// space is not looked at. Each file gives one frame. Overlays are never shown.
    /// @throws GantryError  NoFilesError for a series without a readable file; ImageOpenError (path, status);
    ///                      ImageDimensionsMismatch; ImageReadError; DimensionsError
    void readImage(GTU::VArgumentManager& manager, const RegexFilter& filter, const ImageReadOptions& options) const;

    // One read over all selected files, one file open at a time. Pixel reads leave out what cannot be read, metadata
    // reads end at the first file that fails.

    /// One store for each file, named by its absolute path, as DcmReader::readMetadata gives it; in directory order.
    /// @throws GantryError  OpenFileError (path, reason); InvalidTagName (the name), once a file is read
    void readMetadataRecursive(GTU::VArgumentManager& manager, const std::vector<std::string>& names,
                               const std::string& series, bool validate) const;
    /// The same by number, for all files, valid values only.
    void readMetadataIntTagsRecursive(GTU::VArgumentManager& manager, const TagNumbers& tags) const;
    /// The same as DcmReader::readAllMetadataExcept gives it.
    void readAllMetadataExceptRecursive(GTU::VArgumentManager& manager, const std::vector<std::string>& names,
                                        const std::string& series, bool validate) const;

    /// P -> {S -> {R -> arrays}} as DcmFileReader::readIntermediatePixelData gives them, in directory order.
    void readRawPixelData(GTU::VArgumentManager& manager, const RegexFilter& filter,
                          const ImageOpenOptions& options) const;
    /// The first overlay of each file, in one flat store.
    void readOverlays(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const;
    /// One overlay has no meaning for a whole directory. @throws GantryError  NotImplementedError
    [[noreturn]] void readOverlay(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const;

    // Where the referenced files are.

    /// Path of the directory file without its last eight characters, taken to be its name whatever they are; a shorter
    /// path as it is.
    std::string getDICOMDIRLocation() const;
    /// ReferencedFileID (0004,1500) with "/" between its components; nothing looks whether the file is there.
    std::string getDirectoryRecordFileName(DcmDirectoryRecord* record, bool absolute) const;
    /// File names of all instances below what passes, in directory order.
    std::vector<std::string> getReferencedFileNames(const RegexFilter& filter, bool absolute) const;
    /// Readers of a series' files in the order of InstanceNumber; the order of equal numbers is open. Files that cannot
    /// be opened are left out.
    std::vector<std::unique_ptr<DcmFileReader>> getSortedImageReaders(DcmDirectoryRecord* series) const;

  private:
    using Readers = std::vector<std::unique_ptr<DcmFileReader>>;

    ImageList readImagesOfSeries(DcmDirectoryRecord* series, ImageReadOptions& options) const;
    static GTU::VContainer<GTU::VArgumentType::Image, GTU::Passing::Manual> read3DImage(Readers readers,
                                                                                        ImageReadOptions options);
    static void setWindowForSeries(const Readers& readers, ImageReadOptions& options);
    template <typename Read>
    void readRecursively(GTU::VArgumentManager& manager, const RegexFilter& filter, Read read) const;
};

} // namespace radvex
