#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "deidentify/FileCheck.h"

namespace radvex::deidentify {

/// The patients, studies, series and instances of a folder, and the references between them, without any value.
class InstanceTree {
  public:
    void add(const InstanceFacts& facts);

    std::size_t patientCount() const { return mPatients.size(); }
    std::size_t studyCount() const;
    std::size_t seriesCount() const;
    std::size_t instanceCount() const { return mInstances.size(); }
    std::size_t repeatedCount() const { return mFileCount - mInstances.size(); }
    std::size_t shortCount() const { return mShortCount; }

    /// What of the originals' tree is otherwise in that of the finished files, as sentences without values.
    /// @param originals  null: none are known, so that only this tree itself is looked at
    std::vector<std::string> differencesFrom(const InstanceTree* originals) const;

  private:
    using Shape = std::vector<std::vector<std::vector<std::size_t>>>;
    using Series = std::map<ValueHash, std::size_t>;
    using Studies = std::map<ValueHash, Series>;

    Shape shape() const;
    std::vector<std::size_t> frameGroups() const;
    /// References that lead to nothing here, by the place that holds them.
    std::map<ValueHash, std::size_t> danglingReferences() const;
    bool hasMoreDangling(const InstanceTree& originals) const;

    std::map<ValueHash, Studies> mPatients{};
    std::set<ValueHash> mInstances{};
    std::unordered_map<ValueHash, std::size_t> mFrames{}; ///< number of instances in each frame of reference
    std::vector<Reference> mReferences{};
    std::size_t mFileCount = 0;
    std::size_t mShortCount = 0;
};

} // namespace radvex::deidentify
