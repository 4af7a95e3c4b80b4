#include "deidentify/rewriting/DatasetWalk.h"

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

#include "dcmtk/dcmdata/dcbytstr.h"
#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcvrobow.h"

namespace radvex::deidentify {

namespace {

struct Work {
    DcmItem* item;
    DcmItem* other;
    std::string prefix;
};

/// Finds the element with the same tag in another item. Elements of an item are in the order of their tags, so that one
/// pass over both items is enough.
class Partners {
  public:
    explicit Partners(DcmItem* item) : mItem(item), mNext(item == nullptr ? nullptr : item->nextInContainer(nullptr)) {}

    DcmElement* of(const DcmElement& element) {
        while (mNext != nullptr && mNext->getTag().getXTag() < element.getTag().getXTag()) {
            mNext = mItem->nextInContainer(mNext);
        }
        return mNext != nullptr && mNext->getTag().getXTag() == element.getTag().getXTag()
                   ? dynamic_cast<DcmElement*>(mNext)
                   : nullptr;
    }

  private:
    DcmItem* mItem;
    DcmObject* mNext;
};

void addItems(std::vector<Work>& work, DcmSequenceOfItems& sequence, DcmSequenceOfItems* other, const Visit& visit) {
    DcmObject* partner = other == nullptr ? nullptr : other->nextInContainer(nullptr);
    std::size_t number = 0;
    const std::string path = visit.path();
    for (DcmObject* object = sequence.nextInContainer(nullptr); object != nullptr;
         object = sequence.nextInContainer(object)) {
        ++number;
        if (auto* item = dynamic_cast<DcmItem*>(object)) {
            work.push_back({item, dynamic_cast<DcmItem*>(partner), path + '[' + std::to_string(number) + "]."});
        }
        partner = partner == nullptr ? nullptr : other->nextInContainer(partner);
    }
}

} // namespace

std::string Visit::path() const { return prefix + nameOf(element.getTag()); }

void walkElements(DcmItem& dataset, DcmItem* other, const std::function<void(const Visit&)>& visit) {
    std::vector<Work> work{{&dataset, other, ""}};
    while (!work.empty()) {
        const Work now = std::move(work.back());
        work.pop_back();
        Partners partners(now.other);
        for (DcmObject* object = now.item->nextInContainer(nullptr); object != nullptr;
             object = now.item->nextInContainer(object)) {
            auto* element = dynamic_cast<DcmElement*>(object);
            if (element == nullptr) {
                continue;
            }
            const Visit here{*element, partners.of(*element), *now.item, now.prefix};
            visit(here);
            if (DcmSequenceOfItems* sequence = asSequence(*element)) {
                addItems(work, *sequence, here.partner == nullptr ? nullptr : asSequence(*here.partner), here);
            }
        }
    }
}

std::string nameOf(const DcmTagKey& key) {
    DcmTag tag(key);
    std::string name = tag.getTagName();
    if (name != DcmTag_ERROR_TagName && !key.isPrivate()) {
        return name;
    }
    char number[16];
    std::snprintf(number, sizeof number, "%04X,%04X", key.getGroup(), key.getElement());
    return number;
}

DcmSequenceOfItems* asSequence(DcmElement& element) {
    return element.ident() == EVR_pixelSQ ? nullptr : dynamic_cast<DcmSequenceOfItems*>(&element);
}

bool isOfUnknownType(DcmElement& element) {
    const DcmEVR vr = element.ident();
    return vr == EVR_UN || vr == EVR_UNKNOWN || vr == EVR_UNKNOWN2B;
}

bool holdsText(DcmElement& element) {
    return dynamic_cast<DcmByteString*>(&element) != nullptr || isOfUnknownType(element);
}

std::string textOf(DcmElement& element) {
    if (dynamic_cast<DcmByteString*>(&element) != nullptr) {
        char* text = nullptr;
        Uint32 length = 0;
        return element.getString(text, length).good() && text != nullptr ? std::string(text, length) : std::string();
    }
    Uint8* bytes = nullptr;
    if (!isOfUnknownType(element) || element.getUint8Array(bytes).bad() || bytes == nullptr) {
        return "";
    }
    return {reinterpret_cast<const char*>(bytes), element.getLength()};
}

void putText(DcmElement& element, const std::string& text) {
    OFCondition put;
    if (isOfUnknownType(element)) {
        const std::string even = text + std::string(text.size() % 2, ' ');
        put = element.putUint8Array(reinterpret_cast<const Uint8*>(even.data()), even.size());
    } else {
        put = element.putString(text.c_str(), static_cast<Uint32>(text.size()));
    }
    if (put.bad()) {
        throw std::runtime_error(nameOf(element.getTag()) + " cannot take a new value: its value representation, " +
                                 element.getTag().getVRName() + ", does not hold \"" + text + "\"");
    }
}

void requireFitting(const DcmTagKey& key, const std::string& text) {
    // Longer texts hold nearly everything; what numbers do not take, DCMTK refuses by itself.
    static constexpr std::array kStrict{EVR_AE, EVR_AS, EVR_CS, EVR_DA, EVR_DS, EVR_DT, EVR_IS, EVR_TM, EVR_UI};
    const DcmTag tag(key);
    if (std::find(kStrict.begin(), kStrict.end(), tag.getEVR()) == kStrict.end()) {
        return;
    }
    DcmElement* made = nullptr;
    const OFCondition isMade = DcmItem::newDicomElement(made, tag);
    const std::unique_ptr<DcmElement> element(made);
    if (isMade.bad() || element->putString(text.c_str(), static_cast<Uint32>(text.size())).bad() ||
        element->checkValue("1-n").bad()) {
        throw std::runtime_error(nameOf(key) + " cannot become \"" + text +
                                 "\": that is no value of its representation, " + DcmVR(tag.getEVR()).getVRName() +
                                 " (PS3.5, 6.2).");
    }
}

} // namespace radvex::deidentify
