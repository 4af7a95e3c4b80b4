#pragma once

#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/tags/TagPath.h"
#include "formats/json/Dictionary.h"
#include "host/Host.h"
#include "media/ElementList.h"

namespace radvex::cli {

/// What was asked for of each file.
struct AttributeChoice {
    std::vector<TagPath> paths{};        ///< empty: all attributes
    std::vector<std::string> excluded{}; ///< keys that are left out of all
    bool validate = false;
    bool replacesBytes = false; ///< of texts that are in no character set, by U+FFFD
};

/// An attribute as it is printed.
struct ShownAttribute {
    std::string key{};                       ///< in JSON
    std::string label{};                     ///< in text: a keyword, or what --tag takes
    std::string vr{};                        ///< empty when it is not known
    std::optional<velmora::NodeView> node{}; ///< its value; nothing for an empty one
    std::vector<std::vector<ShownAttribute>> items{};

    bool isSequence() const { return vr == "SQ"; }
};

/// Attributes of one file: their values come from the library, and what is empty, private or within an item from the
/// list of the file's elements, which is read only when it is needed.
class FileAttributes {
  public:
    /// @throws velmora::LibraryError, FileError
    FileAttributes(velmora::Host& host, std::string path, const AttributeChoice& choice);
    FileAttributes(const FileAttributes&) = delete; // nodes are views of the stores
    FileAttributes& operator=(const FileAttributes&) = delete;

    const std::vector<ShownAttribute>& shown() const { return mShown; }
    /// For each path that was asked for, whether the file has the attribute, empty or not.
    const std::vector<bool>& isThere() const { return mIsThere; }

  private:
    using Elements = std::vector<media::Element>;
    /// For each element the index of the node that has its value.
    using Places = std::vector<std::optional<std::size_t>>;

    void showAll();
    void showChosen();
    bool showFromLibrary(const TagPath& path);
    bool showElements(const std::vector<FoundElement>& found, bool libraryHasNone);
    const Elements& elements();
    std::vector<ShownAttribute> merged(velmora::StoreView nodes, const Elements& elements);
    /// Indices of the elements that the library leaves out behind each of `count` nodes, by the order of the file;
    /// first those before all.
    std::vector<std::vector<std::size_t>> missingBehind(const Elements& elements, const Places& places,
                                                        std::size_t count) const;
    ShownAttribute describe(velmora::NodeView node);
    ShownAttribute describe(velmora::NodeView node, const media::Element& element);
    ShownAttribute describe(const media::Element& element);
    bool isMissing(const media::Element& element) const;
    void replaceBytes();
    void replaceBytes(std::vector<ShownAttribute>& attributes, const std::string& outerSet);

    velmora::Host& mHost;
    formats::Dictionary mDictionary;
    std::string mPath;
    const AttributeChoice& mChoice;
    std::set<std::string> mExcluded{};
    std::optional<Elements> mElements{};
    std::deque<velmora::Store> mStores{}; ///< what the nodes are views of
    std::vector<ShownAttribute> mShown{};
    std::vector<bool> mIsThere{};
};

/// The element in the form in which the library gives attributes, which leaves out what is empty. Numbers of 64 bits,
/// OL and OV become text.
velmora::Store storeOf(const media::Element& element, const std::string& key);

/// What an attribute is called in text; --tag takes it again.
std::string labelOf(const media::Element& element);

} // namespace radvex::cli
