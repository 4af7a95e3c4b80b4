#pragma once

#include "DcmReader.h"

namespace radvex {

/// Reads a DICOMDIR and the files that it references (PS3.10 section 8, PS3.3 annex F).
class DcmDirReader : public DcmReader {
  public:
    using DcmReader::DcmReader;

    ResultList readPatientInfo(NameList& fields, const RegexFilter& filter) const override;
    ResultList readStudyInfo(NameList& fields, const RegexFilter& filter) const override;
    ResultList readSeriesInfo(NameList& fields, const RegexFilter& filter) const override;
};

} // namespace radvex
