#pragma once

#include <string>

#include "DataList.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

class RegexFilter;

using NameList = GTU::DataList<GTU::VArgumentType::UTF8String, GTU::Passing::Automatic>;
/// A result tree, or a part of one: nodes of any kind.
using ResultList = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Automatic>;

/// An opened DICOM file held in memory: decompressed if a codec allows, its strings in UTF-8 if its character set
/// allows. There is no half-open reader.
class DcmReader {
  public:
    /// Opens and loads a file. Values over 4096 bytes stay in the file until they are first asked for.
    /// @throws GantryError  PathNotValidated (path) when the host refuses it;
    ///                      OpenFileError (path, reason) when it is missing, unreadable or not DICOM
    explicit DcmReader(const std::string& path);
    DcmReader(const DcmReader&) = delete;
    DcmReader& operator=(const DcmReader&) = delete;
    virtual ~DcmReader() = default;

    /// Well-known properties of the patient, the study or the series, for what passes the filter.
    virtual ResultList readPatientInfo(NameList& fields, const RegexFilter& filter) const = 0;
    virtual ResultList readStudyInfo(NameList& fields, const RegexFilter& filter) const = 0;
    virtual ResultList readSeriesInfo(NameList& fields, const RegexFilter& filter) const = 0;

  protected:
    std::string filePath; ///< as the caller gave it
    mutable DcmFileFormat fileFormat{}; ///< DCMTK's getters are not const
    DcmDataset* dataset = nullptr; ///< the dataset of fileFormat
};

/// All values of an attribute at the top level of an item, joined by "\"; empty when it is absent or unreadable.
std::string getItemStringArr(DcmItem* item, const DcmTagKey& key);

} // namespace radvex
