#pragma once

#include <functional>
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
    DcmDataset& mDataset;
    TextDecoder& mDecoder;
    std::map<DcmElement*, std::string> mWaiting{};
};

/// Calls `visit` with each element of an item and of all items in it, but with no sequence, and the character set that
/// holds where the element stands. The visit must not add or remove elements.
void forEachText(DcmItem& item, const std::string& outerSet,
                 const std::function<void(DcmElement& element, const std::string& characterSet)>& visit);

/// SpecificCharacterSet of an item; that of the item around it when it has none.
std::string characterSetOf(DcmItem& item, const std::string& outerSet);

/// Whether the bytes are the same text in every character set: ASCII, and no escape sequence.
bool hasOneReading(std::string_view text);
bool isUtf8(std::string_view text);
std::string latin1AsUtf8(std::string_view bytes);

} // namespace radvex::deidentify
