#include "deidentify/rewriting/DatasetText.h"

#include <algorithm>
#include <array>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

constexpr char kEscape = 0x1B; // changes the character set within a text

/// No set at all, or one of those of western, central and southern Europe.
bool isLatin(const std::string& characterSet) {
    static constexpr std::array<std::string_view, 7> kSets{"",           "ISO_IR 6",   "ISO_IR 100", "ISO_IR 101",
                                                           "ISO_IR 109", "ISO_IR 110", "ISO_IR 148"};
    return std::ranges::find(kSets, characterSet) != kSets.end();
}

} // namespace

std::string TextDecoder::utf8(DcmElement& element, const std::string& characterSet) {
    std::string bytes = textOf(element);
    if (isLatin(characterSet) && text::isUtf8(bytes) && bytes.find(kEscape) == std::string::npos) {
        return bytes; // no Latin text looks like this by chance; some programs write it all the same
    }
    return mDecoder.utf8(bytes, element.ident(), characterSet);
}

void TextWriter::put(DcmElement& element, const std::string& utf8) {
    mWaiting.erase(&element);
    if (text::hasOneReading(utf8) || !text::hasCharacterSet(element.ident())) {
        putText(element, utf8);
    } else {
        putText(element, ""); // the old value is gone even if the new one is refused
        mWaiting[&element] = utf8;
    }
}

void TextWriter::finish() {
    if (mWaiting.empty()) {
        return;
    }
    forEachText(mDataset, "", [this](DcmElement& element, const std::string& characterSet) {
        if (text::hasCharacterSet(element.ident()) && !text::hasOneReading(textOf(element))) {
            putText(element, mDecoder.utf8(element, characterSet));
        }
    });
    (void)mDataset.findAndDeleteElement(DCM_SpecificCharacterSet, OFTrue, OFTrue); // of items too
    (void)mDataset.putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 192");
    for (const auto& [element, text] : mWaiting) {
        putText(*element, text);
    }
}

void forEachText(DcmItem& item, const std::string& outerSet,
                 const std::function<void(DcmElement& element, const std::string& characterSet)>& visit) {
    const std::string characterSet = characterSetOf(item, outerSet);
    for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr; object = item.nextInContainer(object)) {
        auto* element = dynamic_cast<DcmElement*>(object);
        DcmSequenceOfItems* sequence = element == nullptr ? nullptr : asSequence(*element);
        if (sequence == nullptr && element != nullptr) {
            visit(*element, characterSet);
        }
        for (DcmObject* inner = sequence == nullptr ? nullptr : sequence->nextInContainer(nullptr); inner != nullptr;
             inner = sequence->nextInContainer(inner)) {
            if (auto* innerItem = dynamic_cast<DcmItem*>(inner)) {
                forEachText(*innerItem, characterSet, visit);
            }
        }
    }
}

} // namespace radvex::deidentify
