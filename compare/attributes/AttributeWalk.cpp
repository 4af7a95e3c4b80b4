#include <algorithm>
#include <deque>
#include <stdexcept>

#include "compare/AttributeComparison.h"
#include "compare/attributes/ElementNames.h"
#include "compare/attributes/ElementValues.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/DatasetText.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DicomIo.h"

namespace radvex::compare {

namespace {

/// An item of both files; null in the file that lacks it.
struct ItemOfBoth {
    DcmItem* first = nullptr;
    DcmItem* second = nullptr;
    std::string firstSet{}; ///< character set around the item
    std::string secondSet{};
};

/// An attribute of both files; null in the file that lacks it.
struct ElementOfBoth {
    ElementName name{};
    DcmElement* first = nullptr;
    DcmElement* second = nullptr;
};

bool isPixelData(const DcmTagKey& key) {
    return key == DCM_PixelData || key == DCM_FloatPixelData || key == DCM_DoubleFloatPixelData;
}

/// What says nothing about the image, or changes whenever another program writes it.
bool isLeftOut(const DcmTagKey& key) {
    return key.getElement() == 0 || key == DCM_ImplementationClassUID || key == DCM_ImplementationVersionName ||
           key == DCM_DataSetTrailingPadding;
}

struct NamedElement {
    ElementName name{};
    DcmElement* element = nullptr;
};

std::vector<NamedElement> elementsOf(DcmItem* item) {
    std::vector<NamedElement> elements;
    for (DcmObject* object = item == nullptr ? nullptr : item->nextInContainer(nullptr); object != nullptr;
         object = item->nextInContainer(object)) {
        auto* element = dynamic_cast<DcmElement*>(object);
        if (element != nullptr && !isLeftOut(element->getTag())) {
            elements.push_back({nameOf(*item, *element), element});
        }
    }
    std::ranges::stable_sort(
        elements, [](const NamedElement& one, const NamedElement& other) { return one.name.isBefore(other.name); });
    return elements;
}

/// The attributes of two items side by side.
std::vector<ElementOfBoth> matched(DcmItem* firstItem, DcmItem* secondItem) {
    const auto firsts = elementsOf(firstItem);
    const auto seconds = elementsOf(secondItem);
    std::vector<ElementOfBoth> both;
    auto one = firsts.begin();
    auto other = seconds.begin();
    while (one != firsts.end() || other != seconds.end()) {
        const bool takesFirst = other == seconds.end() || (one != firsts.end() && !other->name.isBefore(one->name));
        const bool takesSecond = one == firsts.end() || (other != seconds.end() && !one->name.isBefore(other->name));
        both.push_back({takesFirst ? one->name : other->name, takesFirst ? one->element : nullptr,
                        takesSecond ? other->element : nullptr});
        one += takesFirst ? 1 : 0;
        other += takesSecond ? 1 : 0;
    }
    return both;
}

std::vector<DcmItem*> itemsOf(DcmSequenceOfItems* sequence) {
    std::vector<DcmItem*> items;
    for (DcmObject* object = sequence == nullptr ? nullptr : sequence->nextInContainer(nullptr); object != nullptr;
         object = sequence->nextInContainer(object)) {
        items.push_back(dynamic_cast<DcmItem*>(object));
    }
    return items;
}

/// Walks through both files at once. Deep nesting takes no call stack.
class Comparison {
  public:
    Comparison(const AttributeSettings& settings, AttributeComparison& result)
        : mHasPixels(settings.hasPixels), mIgnored(settings.ignored), mResult(result) {}

    void compare(const ItemOfBoth& item) {
        open(item);
        while (!mLevels.empty()) {
            Level& level = mLevels.back();
            if (level.next < level.elements.size()) {
                mPath.back() = {level.elements[level.next].name};
                visit(level.elements[level.next++], level);
            } else if (level.nextItem < level.items.size()) {
                enterItem(level);
            } else {
                leave();
            }
        }
    }

  private:
    /// Either the attributes of an item, or the items of a sequence.
    struct Level {
        std::vector<ElementOfBoth> elements{};
        std::size_t next = 0;
        std::vector<ItemOfBoth> items{};
        std::size_t nextItem = 0;
        std::string firstSet{};
        std::string secondSet{};
        bool isSequence = false;
    };

    void open(const ItemOfBoth& item) {
        Level level;
        level.elements = matched(item.first, item.second);
        level.firstSet = item.first == nullptr ? "" : deidentify::characterSetOf(*item.first, item.firstSet);
        level.secondSet = item.second == nullptr ? "" : deidentify::characterSetOf(*item.second, item.secondSet);
        mLevels.push_back(std::move(level));
        mPath.emplace_back();
    }

    void leave() {
        const bool wasSequence = mLevels.back().isSequence;
        mLevels.pop_back();
        if (!wasSequence) {
            mPath.pop_back();
        }
    }

    void enterItem(Level& level) {
        const ItemOfBoth item = level.items[level.nextItem++];
        mPath.back().item = level.nextItem;
        if (mIgnored.contain(mPath)) {
            return;
        }
        if (item.first == nullptr || item.second == nullptr) {
            tell(item.first == nullptr ? Presence::onlySecond : Presence::onlyFirst, countOf(item.first),
                 countOf(item.second));
        } else {
            open(item);
        }
    }

    static std::string countOf(DcmItem* item) {
        return item == nullptr ? "" : "(item of " + std::to_string(item->card()) + " attributes)";
    }

    void visit(const ElementOfBoth& both, const Level& level) {
        const DcmTagKey key = (both.first != nullptr ? both.first : both.second)->getTag().getXTag();
        const bool isOfDataset = mLevels.size() == 1;
        if (mIgnored.contain(mPath) || (!mHasPixels && isPixelData(key))) {
            return;
        }
        if (isOfDataset && key == DCM_PixelData) {
            return takePixels(both);
        }
        if (both.first == nullptr || both.second == nullptr) {
            return tell(both, level);
        }
        DcmSequenceOfItems* one = deidentify::asSequence(*both.first);
        DcmSequenceOfItems* other = deidentify::asSequence(*both.second);
        if (one != nullptr && other != nullptr) {
            enterSequence(one, other, level);
        } else if ((one == nullptr) != (other == nullptr) ||
                   !mValues.areSame({*both.first, level.firstSet}, {*both.second, level.secondSet})) {
            tell(both, level);
        }
    }

    void enterSequence(DcmSequenceOfItems* one, DcmSequenceOfItems* other, const Level& around) {
        const auto firsts = itemsOf(one);
        const auto seconds = itemsOf(other);
        Level level;
        level.isSequence = true;
        for (std::size_t index = 0; index < std::max(firsts.size(), seconds.size()); ++index) {
            level.items.push_back({index < firsts.size() ? firsts[index] : nullptr,
                                   index < seconds.size() ? seconds[index] : nullptr, around.firstSet,
                                   around.secondSet});
        }
        mLevels.push_back(std::move(level));
    }

    void takePixels(const ElementOfBoth& both) {
        mResult.pixels = both.first == nullptr                      ? PixelBytes::onlySecond
                         : both.second == nullptr                   ? PixelBytes::onlyFirst
                         : haveSameBytes(*both.first, *both.second) ? PixelBytes::same
                                                                    : PixelBytes::unknown;
    }

    void tell(const ElementOfBoth& both, const Level& level) {
        const auto shown = [&](DcmElement* element, const std::string& set) {
            return element == nullptr ? std::string() : mValues.shown({*element, set});
        };
        tell(both.first == nullptr    ? Presence::onlySecond
             : both.second == nullptr ? Presence::onlyFirst
                                      : Presence::inBoth,
             shown(both.first, level.firstSet), shown(both.second, level.secondSet));
    }
    void tell(Presence presence, std::string first, std::string second) {
        mResult.differences.push_back({pathText(mPath), presence, std::move(first), std::move(second)});
    }

    bool mHasPixels;
    IgnoredPaths mIgnored;
    AttributeComparison& mResult;
    ElementValues mValues{};
    std::deque<Level> mLevels{}; ///< references to levels stay valid when another one is opened
    std::vector<Step> mPath{};
};

std::string sentence(const std::string& reason) { return reason.ends_with('.') ? reason : reason + '.'; }

/// A file whose long values are read when they are compared.
class LoadedFile {
  public:
    explicit LoadedFile(const std::string& path) : mPath(path) {
        try {
            mSource = media::loadDicomHead(mFile, path);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(path + ": " + sentence(error.what()));
        }
    }

    DcmItem* meta() { return mFile.getMetaInfo(); }
    DcmItem* dataset() { return mFile.getDataset(); }
    E_TransferSyntax syntax() { return mFile.getDataset()->getOriginalXfer(); }

    void requireRead() const {
        try {
            media::requireRead(*mSource);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(mPath + ": " + sentence(error.what()));
        }
    }

  private:
    std::string mPath;
    DcmFileFormat mFile{};
    std::shared_ptr<SourceFile> mSource{};
};

/// Whether the attributes that give the bytes of pixels their meaning are the same.
bool haveSameForm(LoadedFile& first, LoadedFile& second) {
    static const DcmTagKey kForm[] = {DCM_Rows,
                                      DCM_Columns,
                                      DCM_NumberOfFrames,
                                      DCM_SamplesPerPixel,
                                      DCM_PhotometricInterpretation,
                                      DCM_PlanarConfiguration,
                                      DCM_BitsAllocated,
                                      DCM_BitsStored,
                                      DCM_HighBit,
                                      DCM_PixelRepresentation};
    const auto textOf = [](LoadedFile& file, const DcmTagKey& key) {
        OFString text;
        (void)file.dataset()->findAndGetOFStringArray(key, text);
        return text;
    };
    return first.syntax() == second.syntax() &&
           std::ranges::all_of(kForm, [&](const DcmTagKey& key) { return textOf(first, key) == textOf(second, key); });
}

} // namespace

AttributeComparison compareAttributes(const std::string& first, const std::string& second,
                                      const AttributeSettings& settings) {
    media::silenceDcmtk();
    LoadedFile one(first);
    LoadedFile other(second);
    AttributeComparison result;
    try {
        Comparison comparison(settings, result);
        comparison.compare({one.meta(), other.meta()});
        comparison.compare({one.dataset(), other.dataset()});
    } catch (const std::runtime_error& error) {
        one.requireRead();
        other.requireRead();
        throw std::runtime_error(first + " or " + second + ": " + sentence(error.what()));
    }
    one.requireRead();
    other.requireRead();
    if (result.pixels == PixelBytes::same && !haveSameForm(one, other)) {
        result.pixels = PixelBytes::unknown;
    }
    return result;
}

} // namespace radvex::compare
