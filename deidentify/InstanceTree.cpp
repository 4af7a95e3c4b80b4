#include "deidentify/InstanceTree.h"

#include <algorithm>

namespace radvex::deidentify {

namespace {

void addCount(std::vector<std::string>& differences, const char* what, std::size_t here, std::size_t there) {
    if (here != there) {
        differences.push_back("number of " + std::string(what) + ": " + std::to_string(here) + ", but " +
                              std::to_string(there) + " in the originals");
    }
}

} // namespace

void InstanceTree::add(const InstanceFacts& facts) {
    ++mPatients[facts.patient][facts.study][facts.series];
    mShortCount += facts.isShort ? 1U : 0U;
    if (facts.instance != 0) {
        ++mFileCount;
        mInstances.insert(facts.instance);
    }
    if (facts.frameOfReference != 0) {
        ++mFrames[facts.frameOfReference];
    }
    mReferences.insert(mReferences.end(), facts.references.begin(), facts.references.end());
}

std::size_t InstanceTree::studyCount() const {
    std::size_t count = 0;
    for (const auto& [patient, studies] : mPatients) {
        count += studies.size();
    }
    return count;
}

std::size_t InstanceTree::seriesCount() const {
    std::size_t count = 0;
    for (const auto& [patient, studies] : mPatients) {
        for (const auto& [study, series] : studies) {
            count += series.size();
        }
    }
    return count;
}

/// The sizes of all series, by study and patient; sorted, because new UIDs have another order.
InstanceTree::Shape InstanceTree::shape() const {
    Shape shape;
    for (const auto& [patient, studies] : mPatients) {
        auto& sizesOfStudies = shape.emplace_back();
        for (const auto& [study, series] : studies) {
            auto& sizes = sizesOfStudies.emplace_back();
            for (const auto& [uid, size] : series) {
                sizes.push_back(size);
            }
            std::ranges::sort(sizes);
        }
        std::ranges::sort(sizesOfStudies);
    }
    std::ranges::sort(shape);
    return shape;
}

std::vector<std::size_t> InstanceTree::frameGroups() const {
    std::vector<std::size_t> sizes;
    for (const auto& [frame, size] : mFrames) {
        sizes.push_back(size);
    }
    std::ranges::sort(sizes);
    return sizes;
}

std::map<ValueHash, std::size_t> InstanceTree::danglingReferences() const {
    std::set<ValueHash> known = mInstances;
    for (const auto& [patient, studies] : mPatients) {
        for (const auto& [study, series] : studies) {
            known.insert(study);
            for (const auto& [uid, size] : series) {
                known.insert(uid);
            }
        }
    }
    for (const auto& [frame, size] : mFrames) {
        known.insert(frame);
    }
    std::map<ValueHash, std::size_t> counts;
    for (const auto& [place, target] : mReferences) {
        counts[place] += known.contains(target) ? 0U : 1U;
    }
    return counts;
}

/// A profile removes whole sequences, and with them their references; but where one stays, it leads somewhere if the
/// original did.
bool InstanceTree::hasMoreDangling(const InstanceTree& originals) const {
    const auto before = originals.danglingReferences();
    const auto after = danglingReferences();
    return std::ranges::any_of(after, [&](const auto& one) {
        const auto original = before.find(one.first);
        return one.second > (original == before.end() ? 0 : original->second);
    });
}

std::vector<std::string> InstanceTree::differencesFrom(const InstanceTree* originals) const {
    std::vector<std::string> differences;
    const std::size_t repeated = originals == nullptr ? 0 : originals->repeatedCount();
    const std::size_t shorts = originals == nullptr ? 0 : originals->shortCount();
    if (repeatedCount() > repeated) {
        differences.emplace_back("several files have one SOPInstanceUID");
    }
    if (shortCount() > shorts) {
        differences.push_back("pixels are fewer than the attributes say, in " + std::to_string(shortCount() - shorts) +
                              (shortCount() - shorts == 1 ? " file" : " files"));
    }
    if (originals == nullptr) {
        return differences;
    }
    const std::size_t before = differences.size();
    addCount(differences, "patients", patientCount(), originals->patientCount());
    addCount(differences, "studies", studyCount(), originals->studyCount());
    addCount(differences, "series", seriesCount(), originals->seriesCount());
    addCount(differences, "instances", instanceCount(), originals->instanceCount());
    if (differences.size() == before && shape() != originals->shape()) {
        differences.emplace_back("instances are in other series, studies or patients than the originals");
    }
    if (hasMoreDangling(*originals)) {
        differences.emplace_back("references lead to no file, but those of the originals did");
    }
    if (differences.size() == before && frameGroups() != originals->frameGroups()) {
        differences.emplace_back("instances share other frames of reference than the originals");
    }
    return differences;
}

} // namespace radvex::deidentify
