#include "dicom/metadata/HierarchicalMetadata.h"

#include <stack>
#include <unordered_map>

#include "dcmtk/dcmdata/dcstack.h"
#include "dicom/metadata/TagNaming.h"

namespace radvex {

namespace {

using GTU::VArgumentType;

/// A level that is being filled: its name in the level above (empty for an item) and its nodes.
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

/// What the walk has to know of a tag.
struct ElementKey {
    std::string text{};
    bool isItem = false;
    bool isExcluded = false;
};

/// The keys of one walk. A dataset repeats few tags many times, and a look-up in the dictionary costs more than the
/// conversion of a short value.
class ElementKeys {
  public:
    explicit ElementKeys(const ExcludedTags& excluded) : mExcluded(excluded) {}

    const ElementKey& keyOf(const DcmTag& tag) {
        if ((tag.getGroup() & 1) != 0) {
            mPrivateKey = lookUp(tag);
            return mPrivateKey;
        }
        const Uint32 number = static_cast<Uint32>(tag.getGroup()) << 16 | tag.getElement();
        const auto known = mKeys.find(number);
        return known != mKeys.end() ? known->second : mKeys.emplace(number, lookUp(tag)).first->second;
    }

  private:
    ElementKey lookUp(const DcmTag& tag) const {
        const std::string text = getTagNameAsString(tag, false);
        return {text, text == "Item", mExcluded.contains(text)};
    }

    const ExcludedTags& mExcluded;
    std::unordered_map<Uint32, ElementKey> mKeys{};
    ElementKey mPrivateKey{}; ///< the key of a private tag depends on its creator too, so that it is not kept
};

} // namespace

// DCMTK also rejects a value when it gets no memory for the check. A second check tells these cases apart.
bool hasValidValue(DcmElement& element) {
    return element.checkValue("1-n", OFFalse).good() || element.checkValue("1-n", OFFalse).good();
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
        // The stack holds the root and all objects down to the current one. Levels that the walk has left are closed.
        collapseDataListStack(frames, stack.card() - 1);
        DcmObject* current = stack.top();
        const ElementKey& key = keys.keyOf(current->getTag());
        if (current->getTag().getEVR() == EVR_SQ) {
            frames.emplace(key.text, ResultList{}); // also an excluded one: only attributes with values are left out
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
