// Metadata of the caller, which overwrites what the image gave.

#include <stack>
#include <stdexcept>
#include <utility>

#include "dicom/metadata/TagNaming.h"
#include "dicom/writers/DcmWriter.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using AnyNode = GTU::DataNode<VArgumentType::VArgument>;

/// Writing and releasing a dataset go one call deeper with each level.
constexpr unsigned int kMaxLevels = 100;

/// An entry that is still to be written.
struct PendingTag {
    DcmItem* target;
    AnyNode node;
    unsigned int level; ///< the number of sequences around the entry

    const std::string& keyword() const { return node.getName(); }
};

/// The entry that was added last is written first.
using PendingTags = std::stack<PendingTag>;

void addEntries(PendingTags& pending, DcmItem* target, ResultList& entries, unsigned int level) {
    for (const AnyNode& node : entries) {
        pending.push({target, node, level});
    }
}

void writeText(DcmItem& target, const DcmTagKey& key, const std::string& keyword, const char* value) {
    std::unique_ptr<DcmElement> element(DcmItem::newDicomElement(key));
    // Any attribute may have any number of values.
    if (element != nullptr && element->putString(value).good() && element->checkValue("1-n", OFFalse).good() &&
        target.insert(element.get(), OFTrue, OFFalse).good()) {
        (void)element.release(); // the item owns it now
        return;
    }
    ErrorManager::throwExceptionWithDebugInfo("InvalidTagValue", "The value does not fit the VR.", keyword, value);
}

void writeSequence(PendingTag& tag, const DcmTagKey& key, PendingTags& pending) {
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
        // An item that cannot be appended is left out without an error.
        if (tag.target->insertSequenceItem(sequence, item.get(), -2).good()) {
            DcmItem* inserted = item.release(); // the sequence owns it now
            ResultList entries(child.getValue());
            addEntries(pending, inserted, entries, tag.level + 1);
        }
    }
}

void writeTag(PendingTag& tag, PendingTags& pending) {
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
    addEntries(pending, mDataset, metadata, 0);
    while (!pending.empty()) {
        PendingTag tag = std::move(pending.top());
        pending.pop();
        if (mInferredTagSet.contains(tag.keyword())) { // inside sequences too
            ErrorManager::throwException("ReservedTagError", tag.keyword());
        }
        writeTag(tag, pending);
    }
}

} // namespace radvex
