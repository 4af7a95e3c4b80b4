// Metadata that the caller puts on top of what the image gave.

#include <stack>
#include <stdexcept>
#include <utility>

#include "dicom/writers/DcmWriter.h"

namespace radvex {

using GTU::ErrorManager;
using GTU::VArgumentType;
using AnyNode = GTU::DataNode<VArgumentType::VArgument>;

/// An entry that is still to be written.
struct PendingTag {
    DcmItem* target;
    AnyNode node;
    unsigned int level; ///< sequences around the entry

    const std::string& keyword() const { return node.getName(); }
};

/// The entries in their order of handling: what was added last comes first.
class PendingTags {
  public:
    void add(DcmItem* target, ResultList& entries, unsigned int level) {
        for (const AnyNode& node : entries) {
            mTags.push({target, node, level});
        }
    }
    bool empty() const { return mTags.empty(); }
    PendingTag take() {
        PendingTag tag = std::move(mTags.top());
        mTags.pop();
        return tag;
    }

  private:
    std::stack<PendingTag> mTags{}; // on a double-ended queue
};

namespace {

/// Writing and releasing a dataset go one call deeper with each level.
constexpr unsigned int kMaxLevels = 100;

void writeText(DcmItem& target, const DcmTagKey& key, const std::string& keyword, const char* value) {
    std::unique_ptr<DcmElement> element(DcmItem::newDicomElement(key));
    // Any number of values may stand in any attribute.
    if (element != nullptr && element->putString(value).good() && element->checkValue("1-n", OFFalse).good() &&
        target.insert(element.get(), OFTrue, OFFalse).good()) {
        (void)element.release(); // the item's from here on
        return;
    }
    ErrorManager::throwExceptionWithDebugInfo("InvalidTagValue", "The value does not fit the VR.", keyword, value);
}

} // namespace

const std::unordered_set<std::string> DcmWriter::mInferredTagSet{"SOPClassUID",
                                                                 "SOPInstanceUID",
                                                                 "StudyInstanceUID",
                                                                 "SeriesInstanceUID",
                                                                 "ConversionType",
                                                                 "SamplesPerPixel",
                                                                 "PhotometricInterpretation",
                                                                 "Rows",
                                                                 "Columns",
                                                                 "BitsAllocated",
                                                                 "BitsStored",
                                                                 "HighBit",
                                                                 "PixelRepresentation",
                                                                 "PixelData",
                                                                 "FloatPixelData",
                                                                 "DoubleFloatPixelData",
                                                                 "OverlayRows",
                                                                 "OverlayColumns",
                                                                 "OverlayBitsAllocated",
                                                                 "OverlayBitPosition",
                                                                 "OverlayData"};

void DcmWriter::writeMetadata(ResultList& metadata) {
    PendingTags pending;
    pending.add(mDataset, metadata, 0);
    while (!pending.empty()) {
        PendingTag tag = pending.take();
        writeTag(tag, pending);
    }
}

void DcmWriter::writeTag(PendingTag& tag, PendingTags& pending) {
    if (mInferredTagSet.count(tag.keyword()) != 0) { // inside sequences too
        ErrorManager::throwException("ReservedTagError", tag.keyword());
    }
    const DcmTagKey key = getTagKey(GeneralInfoMap, tag.keyword());
    switch (tag.node.getType()) {
    case VArgumentType::DataStore: return writeSequence(tag, key, pending);
    case VArgumentType::UTF8String: {
        const char* value = *tag.node.getValue().utf8String;
        if (value == nullptr) {
            throw std::out_of_range("A text of the metadata is null.");
        }
        return writeText(*tag.target, key, tag.keyword(), value);
    }
    default: ErrorManager::throwException("VArgumentTypeError");
    }
}

void DcmWriter::writeSequence(PendingTag& tag, const DcmTagKey& key, PendingTags& pending) {
    const DcmTag sequence(key);
    if (std::string(sequence.getVR().getVRName()) != "SQ") {
        ErrorManager::throwException("SequenceTagVRError");
    }
    GTU::DataList<VArgumentType::DataStore, GTU::Passing::Automatic> items(*tag.node.getValue().dataStore);
    if (items.size() > 0 && tag.level >= kMaxLevels) {
        ErrorManager::throwException("ImageWriteError", "The metadata has more than 100 levels of sequences");
    }
    for (auto& child : items) {
        auto item = std::make_unique<DcmItem>();
        // An item that cannot be appended is left out without a word.
        if (tag.target->insertSequenceItem(sequence, item.get(), -2).good()) {
            DcmItem* inserted = item.release(); // the sequence's from here on
            ResultList entries(child.getValue());
            pending.add(inserted, entries, tag.level + 1);
        }
    }
}

} // namespace radvex
