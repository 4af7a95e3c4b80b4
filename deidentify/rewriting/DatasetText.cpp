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

/// UTF-8 under a Latin set: no Latin text looks like this by chance, and some programs write it all the same.
bool isUtf8InDisguise(const std::string& bytes, const std::string& characterSet) {
    return isLatin(characterSet) && text::isUtf8(bytes) && bytes.find(kEscape) == std::string::npos;
}

/// Whether a text has control characters beyond ASCII, U+0080 to U+009F.
bool hasUnusedControls(std::string_view utf8) {
    for (std::size_t at = utf8.find('\xC2'); at != std::string_view::npos; at = utf8.find('\xC2', at + 1)) {
        if (at + 1 < utf8.size() && static_cast<unsigned char>(utf8[at + 1]) < 0xA0) {
            return true;
        }
    }
    return false;
}

/// The character set that holds where the element stands.
std::string characterSetAt(DcmElement& element) {
    for (DcmObject* object = element.getParent(); object != nullptr; object = object->getParent()) {
        auto* item = dynamic_cast<DcmItem*>(object);
        std::string own = item == nullptr ? "" : characterSetOf(*item, "");
        if (!own.empty()) {
            return own;
        }
    }
    return "";
}

} // namespace

std::string TextDecoder::utf8(DcmElement& element, const std::string& characterSet) {
    return utf8(textOf(element), element.ident(), characterSet);
}

std::string TextDecoder::utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    if (isUtf8InDisguise(bytes, characterSet)) {
        return bytes;
    }
    return mDecoder.utf8(bytes, vr, characterSet);
}

bool TextDecoder::isDoubtful(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    if (text::hasOneReading(bytes) || isUtf8InDisguise(bytes, characterSet)) {
        return false;
    }
    const auto known = isLatin(characterSet) ? std::nullopt : mDecoder.known(bytes, vr, characterSet);
    return !known || hasUnusedControls(*known);
}

std::optional<std::string> TextDecoder::encoded(const std::string& utf8Text, DcmEVR vr,
                                                const std::string& characterSet) {
    auto bytes = mEncoder.encoded(utf8Text, vr, characterSet);
    return bytes && utf8(*bytes, vr, characterSet) == utf8Text ? bytes : std::nullopt;
}

void TextWriter::put(DcmElement& element, const std::string& utf8) {
    mWaiting.erase(&element);
    if (text::hasOneReading(utf8) || !text::hasCharacterSet(element.ident())) {
        putText(element, utf8);
        return;
    }
    const auto bytes = mDecoder.encoded(utf8, element.ident(), characterSetAt(element));
    putText(element, bytes.value_or("")); // the old value is gone even if the new one is refused
    if (!bytes) {
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
