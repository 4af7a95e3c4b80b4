#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "text/DatasetTexts.h"
#include "text/TextDecoder.h"
#include "text/TextEncoder.h"

namespace radvex::deidentify {

/// Reads texts as UTF-8, and takes UTF-8 that stands under a Latin character set for what it is.
class TextDecoder {
  public:
    TextDecoder() = default;
    TextDecoder(const TextDecoder&) = delete;
    TextDecoder& operator=(const TextDecoder&) = delete;
    ~TextDecoder() = default;

    /// @param characterSet  value of SpecificCharacterSet; empty for the default
    std::string utf8(DcmElement& element, const std::string& characterSet);
    std::string utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet);
    /// Whether a text may be another than `utf8` makes of it: bytes that its character set does not explain, control
    /// characters that nobody writes, or a Latin set, which most programs name whatever they write.
    bool isDoubtful(const std::string& bytes, DcmEVR vr, const std::string& characterSet);
    /// Whether every value of the character set is known.
    bool isKnown(const std::string& characterSet) { return mDecoder.isKnown(characterSet); }
    /// The text in the character set; nothing when it does not fit, or would be read as another one.
    std::optional<std::string> encoded(const std::string& utf8, DcmEVR vr, const std::string& characterSet);

  private:
    text::TextDecoder mDecoder{};
    text::TextEncoder mEncoder{mDecoder};
};

/// Writes UTF-8 into the texts of one dataset, in the character set that holds where each of them stands. When one does
/// not fit, all texts of the dataset become UTF-8 (ISO_IR 192), since one file can have texts in many sets.
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

using text::characterSetOf;

} // namespace radvex::deidentify
