#pragma once

#include "DcmReader.h"
#include "InfoTables.h"
#include "RegexFilter.h"

namespace radvex {

/// Reads one DICOM object.
class DcmFileReader : public DcmReader {
  public:
    using DcmReader::DcmReader;

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

  private:
    ResultList readFields(NameList& fields, const InfoTable& table, const std::vector<MatchingProperty>& tests) const;
};

} // namespace radvex
