#pragma once

#include <string>

namespace radvex::files {

/// A hidden folder beside files to be written: they are made in it and get their names when they are whole. What is
/// left in it goes with this object.
class StagingFolder {
  public:
    /// @param place  an existing folder @throws FileError
    explicit StagingFolder(const std::string& place);
    ~StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    std::string file(const std::string& name) const { return mPath + '/' + name; }

    /// For a process that was forked from the one that made the folder: that one alone holds it from here on.
    void leaveToOwner();

    /// Gives a finished file its name. @param mayReplace  a file of that name that is there already
    /// @throws FileError
    static void publish(const std::string& staged, const std::string& target, bool mayReplace);

    /// Removes folders that runs which were killed left in a place: those that no process holds.
    static void removeLeftovers(const std::string& place);

    /// Whether a name is that of such a folder.
    static bool isOne(const std::string& name);

  private:
    std::string mPath{};
    int mLock = -1; ///< held while this object lives
};

} // namespace radvex::files
