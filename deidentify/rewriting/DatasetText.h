#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "dcmtk/dcmdata/dcspchrs.h"

namespace radvex::deidentify {

/// Whether the character set of the dataset matters for the type (PS3.5, 6.1.2.3).
bool hasCharacterSet(DcmEVR vr);

/// Text of the type as UTF-8, whatever bytes it holds: what a character set does not explain is taken for UTF-8, or
/// else for Latin-1.
class TextDecoder {
  public:
    /// @param characterSet  value of SpecificCharacterSet; empty for the default
    std::string utf8(DcmElement& element, const std::string& characterSet);

  private:
    DcmSpecificCharacterSet* converterOf(const std::string& characterSet);

    std::map<std::string, std::unique_ptr<DcmSpecificCharacterSet>> mConverters{};
};

/// Writes UTF-8 into the texts of one dataset. A text that is not ASCII may not fit the dataset's character set; then
/// all texts of the dataset become UTF-8 (ISO_IR 192), since one file can have texts in many sets.
class TextWriter {
  public:
    TextWriter(DcmDataset& dataset, TextDecoder& decoder) : mDataset(dataset), mDecoder(decoder) {}

    /// @throws std::runtime_error  DCMTK refuses the value
    void put(DcmElement& element, const std::string& utf8);
    /// For an element that is about to be deleted.
    void forget(DcmElement& element) { mWaiting.erase(&element); }
    /// Writes what had to wait.
    void finish();

  private:
    void convert(DcmItem& item, const std::string& outerSet);

    DcmDataset& mDataset;
    TextDecoder& mDecoder;
    std::map<DcmElement*, std::string> mWaiting{};
};

/// SpecificCharacterSet of an item; that of the item around it when it has none.
std::string characterSetOf(DcmItem& item, const std::string& outerSet);

bool isAscii(std::string_view text);
bool isUtf8(std::string_view text);

} // namespace radvex::deidentify
