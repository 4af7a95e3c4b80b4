#include "text/DatasetTexts.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "text/TextDecoder.h"

namespace radvex::text {

namespace {

const char* const kUtf8 = "ISO_IR 192";

/// Whether every conversion leaves the bytes as they are. DCMTK's swaps some control characters in one set.
bool isPlain(std::string_view bytes) {
    return std::ranges::all_of(bytes, [](char byte) {
        return (byte >= ' ' && byte < '\x7F') || byte == '\t' || byte == '\n' || byte == '\f' || byte == '\r' ||
               byte == '\0';
    });
}

/// The texts of one character set: of an item that names it, and of what is in it.
struct Scope {
    std::string characterSet{};
    std::vector<std::pair<DcmElement*, std::string>> converted{};
    bool isWhole = true;
};

class Conversion {
  public:
    explicit Conversion(OtherTexts others) : mOthers(others) {}

    void convertScope(DcmItem& item, const std::string& characterSet, bool hasAttribute) {
        Scope scope{.characterSet = characterSet};
        scope.isWhole = mDecoder.isKnown(characterSet);
        collect(item, scope);
        if (!scope.isWhole && mOthers == OtherTexts::Leave) {
            return;
        }
        for (const auto& [element, text] : scope.converted) {
            require(element->putOFStringArray(OFString(text.data(), text.size())), scope);
        }
        if (scope.isWhole && hasAttribute) {
            require(item.putAndInsertString(DCM_SpecificCharacterSet, kUtf8), scope);
        }
    }

  private:
    void collect(DcmItem& item, Scope& scope) {
        for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr;
             object = item.nextInContainer(object)) {
            if (auto* sequence = dynamic_cast<DcmSequenceOfItems*>(object)) {
                collectItems(*sequence, scope);
            } else if (object->isAffectedBySpecificCharacterSet()) {
                collectText(static_cast<DcmElement&>(*object), scope);
            }
        }
    }

    void collectItems(DcmSequenceOfItems& sequence, Scope& scope) {
        for (DcmObject* object = sequence.nextInContainer(nullptr); object != nullptr;
             object = sequence.nextInContainer(object)) {
            auto* item = dynamic_cast<DcmItem*>(object);
            if (item == nullptr) {
                continue; // a fragment of pixels
            }
            if (item->tagExists(DCM_SpecificCharacterSet)) {
                convertItem(*item, scope);
            } else {
                collect(*item, scope);
            }
        }
    }

    void convertItem(DcmItem& item, Scope& outer) {
        const std::string own = characterSetOf(item, "");
        if (own.empty()) {
            collect(item, outer);
        } else {
            convertScope(item, own, true);
        }
    }

    void collectText(DcmElement& element, Scope& scope) {
        char* bytes = nullptr;
        Uint32 length = 0;
        if (element.getString(bytes, length).bad()) {
            scope.isWhole = false;
            return;
        }
        if (bytes == nullptr || isPlain({bytes, length})) {
            return;
        }
        const std::string original(bytes, length);
        auto text = mDecoder.converted(original, element.ident(), scope.characterSet);
        if (!text) {
            scope.isWhole = false;
        } else if (*text != original) {
            scope.converted.emplace_back(&element, *std::move(text));
        }
    }

    static void require(const OFCondition& put, Scope& scope) { scope.isWhole = scope.isWhole && put.good(); }

    const OtherTexts mOthers;
    TextDecoder mDecoder{};
};

bool isDirectory(DcmFileFormat& file) {
    OFString kind;
    return file.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPClassUID, kind).good() &&
           kind == UID_MediaStorageDirectoryStorage;
}

} // namespace

std::string characterSetOf(DcmItem& item, const std::string& outerSet) {
    OFString value;
    if (item.findAndGetOFStringArray(DCM_SpecificCharacterSet, value).bad()) {
        return outerSet;
    }
    const std::string text(value.c_str(), value.size());
    const std::string own = text.substr(0, text.find_last_not_of(std::string(" \0", 2)) + 1);
    return own.empty() ? outerSet : own;
}

void convertToUtf8(DcmFileFormat& file, OtherTexts others) {
    DcmDataset& dataset = *file.getDataset();
    if (!isDirectory(file)) {
        convertToUtf8(dataset, others);
    } else if (!dataset.isEmpty()) {
        Conversion(others).convertScope(dataset, "", false);
    }
}

void convertToUtf8(DcmItem& item, OtherTexts others) {
    if (!item.isEmpty()) {
        Conversion(others).convertScope(item, characterSetOf(item, ""), true);
    }
}

} // namespace radvex::text
