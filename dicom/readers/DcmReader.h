#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dcmtk/dcmdata/dcfilefo.h"
#include "dicom/metadata/ElementConversion.h"

namespace radvex {

class SourceFile;
struct RegexFilter;

using NameList = GTU::DataList<GTU::VArgumentType::UTF8String, GTU::Passing::Automatic>;
/// Tags by number: group and element as hexadecimal text.
using TagNumbers = std::vector<std::pair<std::string, std::string>>;

/// An opened DICOM file held in memory: to whoever reads it, it is decompressed if a codec allows, and its strings are
/// in UTF-8 if its character set allows. There is no half-open reader.
class DcmReader {
  public:
    /// Opens and loads a file. Values over 4096 bytes stay in the file until they are first asked for.
    /// @throws GantryError  PathNotValidated (path) when the host refuses it;
    ///                      OpenFileError (path, reason) when it is missing, unreadable or not DICOM
    explicit DcmReader(const std::string& path);
    DcmReader(const DcmReader&) = delete;
    DcmReader& operator=(const DcmReader&) = delete;
    virtual ~DcmReader() = default;

    // For a reader that stays open, while others may write to its file.

    /// Reads what is to answer from memory whatever becomes of the file: long texts, and compressed pixels of up to
    /// 8 MiB. The file stays open for what is left in it, and is closed when that is nothing.
    /// @throws GantryError  OpenFileError (path, reason) when it cannot be read any more
    void settle() const;
    /// Reads all that was left in the file, and closes it. @return false when something cannot be read: the file stays
    /// open, and what is missing is tried again when it is asked for
    bool loadAll() const;
    /// For a reader that is one of very many: what is left is read from the file of that path, which has to be the
    /// same.
    void closeFile() const;
    bool keepsFileOpen() const;
    std::uint64_t fileSize() const; ///< when it was opened
    /// True when values are left in the file that this path leads to, by whatever name.
    bool dependsOn(const std::string& path) const;
    /// Forgets the reads of former calls that failed: each call tries anew what it needs.
    void beginCall() const;
    /// True when memory ran out in the middle of a change: what is there is neither the one nor the other.
    bool isSpoilt() const { return mIsSpoilt; }

    /// Well-known properties of the patient, the study or the series, for what passes the filter.
    virtual ResultList readPatientInfo(NameList& fields, const RegexFilter& filter) const = 0;
    virtual ResultList readStudyInfo(NameList& fields, const RegexFilter& filter) const = 0;
    virtual ResultList readSeriesInfo(NameList& fields, const RegexFilter& filter) const = 0;

    // Metadata of the file's own dataset, the directory's in the case of a DICOMDIR. With `validate`, a leaf is
    // reported only if its value fits its value representation. An attribute that the file does not have leaves no
    // node. Nodes are in the order of the request; pixel and overlay data take the form of
    // saveGraphicMetadataToDataList.

    /// Attributes by keyword. @throws GantryError  InvalidTagName (the name)
    ResultList readMetadata(const std::vector<std::string>& names, bool validate) const;
    /// Attributes by number; those that the dictionary does not know too.
    /// @throws std::invalid_argument, std::out_of_range  a number that is none
    ResultList readMetadataIntTags(const TagNumbers& tags, bool validate) const;
    /// Meta information, then the dataset, then pixel data and overlay data, all without group lengths but for
    /// FileMetaInformationGroupLength, which has a keyword of its own. The names are left out at every depth; only
    /// sequences stay, without what is left out of them.
    ResultList readAllMetadataExcept(const std::vector<std::string>& names, bool validate) const;

    // Questions to the dictionary.

    /// Value representation of each keyword: (keyword, VR), "UN" for one that the dictionary does not know.
    static std::vector<std::pair<std::string, std::string>> readVRName(const std::vector<std::string>& names);
    /// @throws std::invalid_argument, std::out_of_range  a number that is none
    static std::vector<std::string> readVRNameIntTags(const TagNumbers& tags);
    /// DCMTK's own name: "RETIRED_" stays, and an unknown tag is "Unknown Tag & Data".
    /// @throws std::invalid_argument, std::out_of_range  a number that is none
    static std::string getKeyword(const std::string& group, const std::string& element);
    /// Group and element of a keyword as two texts, in decimal, unlike the hexadecimal numbers of every request.
    /// @throws GantryError  InvalidTagName (the keyword)
    static ResultList getGroupElemNumber(const std::string& keyword);

  protected:
    /// Makes the strings UTF-8 if the character set allows: at once for an image; for a directory, whose own attributes
    /// are hardly ever asked for, before they are read.
    /// @throws std::bad_alloc  there is not enough memory to convert the strings; the reader is spoilt
    void convertTexts() const;

    /// Decompresses the pixels if a codec allows. To be called before anything is read that this may change; most
    /// attributes are none of that, and come without the time that it takes.
    /// @throws GantryError  OpenFileError (path, reason) when they cannot be read from the file: nothing has changed
    /// @throws std::bad_alloc  the reader is spoilt
    void decompress() const;
    /// Why DCMTK may not decode what decompress() left compressed; empty when it may. To be asked after it, which looks
    /// through the whole stream for the answer, once.
    const std::string& reasonNotToDecode() const { return mReasonNotToDecode; }
    /// Decompresses where the attribute is one that this may change.
    void decompressFor(const DcmTagKey& key) const;

    /// To be called before anything that was read is given away.
    /// @throws GantryError  OpenFileError (path, reason) when a value could not be read from the file
    void requireWhole() const;

    std::string filePath;               ///< as the caller gave it
    mutable DcmFileFormat fileFormat{}; ///< DCMTK's getters are not const
    DcmDataset* dataset = nullptr;      ///< the dataset of fileFormat

  private:
    bool loadShortValues() const;
    void loadFragments() const;

    mutable bool mHasConvertedTexts = false;
    mutable bool mIsDecompressed = false;
    mutable std::string mReasonNotToDecode{};
    mutable bool mIsSpoilt = false;
    std::shared_ptr<SourceFile> mSource; ///< for the values that were left in the file
};

/// All values of an attribute at the top level of an item, joined by "\"; empty when it is absent or unreadable.
std::string getItemStringArr(DcmItem* item, const DcmTagKey& key);

} // namespace radvex
