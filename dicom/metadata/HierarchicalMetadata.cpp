#include "dicom/metadata/HierarchicalMetadata.h"

#include <stack>

#include "dcmtk/dcmdata/dcstack.h"
#include "dicom/metadata/TagNaming.h"

namespace radvex {

namespace {

using GTU::VArgumentType;

/// A level that is being filled: its name in the level above, empty for an item, and its nodes.
using Frame = std::pair<std::string, ResultList>;
using Frames = std::stack<Frame>;

void addChild(ResultList& parent, const std::string& name, ResultList& child) {
    GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(parent.getInternal(), name, child.getInternal());
}

/// Closes levels until `size` remain: each becomes a node of the one below it.
void collapseDataListStack(Frames& stack, std::size_t size) {
    while (stack.size() > size) {
        Frame frame = std::move(stack.top());
        stack.pop();
        addChild(stack.top().second, frame.first, frame.second);
    }
}

} // namespace

// DCMTK's scanner calls a value wrong when it gets no memory to look at it; a wrong one stays wrong.
bool hasValidValue(DcmElement& element) {
    return element.checkValue("1-n", OFFalse).good() || element.checkValue("1-n", OFFalse).good();
}

ElementKey ElementKeys::look(const DcmTag& tag) const {
    ElementKey key{getTagNameAsString(tag, false)};
    key.isItem = key.text == "Item";
    key.isExcluded = mExcluded.count(key.text) != 0;
    return key;
}

const ElementKey& ElementKeys::keyOf(const DcmTag& tag) {
    if ((tag.getGroup() & 1) != 0) {
        mPrivateKey = look(tag);
        return mPrivateKey;
    }
    const Uint32 number = static_cast<Uint32>(tag.getGroup()) << 16 | tag.getElement();
    const auto known = mKeys.find(number);
    return known != mKeys.end() ? known->second : mKeys.emplace(number, look(tag)).first->second;
}

void saveHierarchicalDatasetToDataList(ResultList& list, DcmObject* object, const ExcludedTags& excluded, bool nested,
                                       bool validate) {
    ElementKeys keys(excluded);
    Frames frames;
    if (nested) {
        frames.emplace(getTagNameAsString(object->getTag(), false), ResultList{});
    } else {
        frames.emplace(std::string{}, std::move(list));
    }
    DcmStack stack;
    while (object->nextObject(stack, OFTrue).good()) {
        // The root lies at the bottom and the current object on top: levels that the walk has left are closed here.
        collapseDataListStack(frames, stack.card() - 1);
        DcmObject* current = stack.top();
        const ElementKey& key = keys.keyOf(current->getTag());
        if (current->getTag().getEVR() == EVR_SQ) {
            frames.emplace(key.text, ResultList{}); // excluded or not: what is left out of it is its leaves
        } else if (key.isItem) {
            frames.emplace(std::string{}, ResultList{});
        } else if (key.isExcluded) {
            continue;
        } else if (auto* element = dynamic_cast<DcmElement*>(current);
                   element != nullptr && (!validate || hasValidValue(*element))) {
            saveDcmElementUnderKey(frames.top().second, element, true, true, key.text);
        }
    }
    collapseDataListStack(frames, 1);
    Frame base = std::move(frames.top());
    if (nested) {
        addChild(list, base.first, base.second);
    } else {
        list = std::move(base.second);
    }
}

} // namespace radvex
