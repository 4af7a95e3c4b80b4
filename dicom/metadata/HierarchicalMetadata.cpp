#include "dicom/metadata/HierarchicalMetadata.h"

#include <vector>

#include "dcmtk/dcmdata/dcstack.h"
#include "dicom/metadata/TagNaming.h"

namespace radvex {

namespace {

using GTU::VArgumentType;

/// A level that is being filled: its name in the level above, empty for an item, and its nodes. All but the root are
/// the walk's until they become nodes: of a walk that fails nothing stays behind but the root, which is the host's.
struct Level {
    std::string name{};
    ResultList nodes{};
    GTU::VContainer<VArgumentType::DataStore, GTU::Passing::Manual> owner{nodes.getInternal(), true};
};

void addChild(ResultList& parent, Level& child) {
    GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(parent.getInternal(), child.name,
                                                              child.nodes.getInternal());
    child.owner.setOwnedByLibrary(false);
}

/// Closes levels until `size` remain: each becomes a node of the one below it.
void closeLevels(std::vector<Level>& levels, ResultList& root, std::size_t size) {
    while (levels.size() > size) {
        addChild(levels.size() > 1 ? levels[levels.size() - 2].nodes : root, levels.back());
        levels.pop_back();
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
    std::vector<Level> levels;
    if (nested) {
        levels.push_back({getTagNameAsString(object->getTag(), false)});
    }
    const std::size_t rootLevels = levels.size();
    DcmStack stack;
    while (object->nextObject(stack, OFTrue).good()) {
        // The root lies at the bottom and the current object on top: levels that the walk has left are closed here.
        closeLevels(levels, list, rootLevels + stack.card() - 2);
        DcmObject* current = stack.top();
        const ElementKey& key = keys.keyOf(current->getTag());
        if (current->getTag().getEVR() == EVR_SQ) {
            levels.push_back({key.text}); // excluded or not: what is left out of it is its leaves
        } else if (key.isItem) {
            levels.push_back({});
        } else if (key.isExcluded) {
            continue;
        } else if (auto* element = dynamic_cast<DcmElement*>(current);
                   element != nullptr && (!validate || hasValidValue(*element))) {
            saveDcmElementUnderKey(levels.empty() ? list : levels.back().nodes, element, true, true, key.text);
        }
    }
    closeLevels(levels, list, 0);
}

} // namespace radvex
