#include "media/FolderWalk.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

class Walker {
  public:
    explicit Walker(const fs::path& root) { mWalk.root = root.string(); }

    FolderWalk walk() {
        mFolders.push_back("");
        while (!mFolders.empty()) { // not recursive: folders may be nested very deep
            const std::string folder = mFolders.back();
            mFolders.pop_back();
            list(folder);
        }
        std::sort(mWalk.files.begin(), mWalk.files.end());
        std::ranges::sort(mWalk.refused, std::less(), &RefusedFile::path);
        return std::move(mWalk);
    }

  private:
    void refuse(const std::string& path, const std::error_code& error) {
        mWalk.refused.push_back({path, "it cannot be read: " + error.message()});
    }

    void list(const std::string& folder) {
        std::error_code error;
        fs::directory_iterator entry(fs::path(mWalk.root) / folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            take(*entry, (fs::path(folder) / name).string());
        }
        if (error && folder.empty()) {
            throw std::runtime_error(mWalk.root + " cannot be read: " + error.message() + ".");
        }
        if (error) {
            refuse(folder, error);
        }
    }

    void take(const fs::directory_entry& entry, const std::string& path) {
        std::error_code error;
        const bool isLink = entry.is_symlink(error);
        const fs::file_status status = entry.status(error);
        if (status.type() == fs::file_type::directory) {
            if (!isLink) {
                mFolders.push_back(path);
            }
        } else if (status.type() == fs::file_type::regular) {
            if (!isLink || !isBelowRoot(entry.path())) {
                mWalk.files.push_back(path);
            }
        } else if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
            refuse(path, error ? error : std::make_error_code(std::errc::no_such_file_or_directory));
        } else {
            ++mWalk.specialCount;
        }
    }

    bool isBelowRoot(const fs::path& link) const {
        std::error_code error;
        const std::string target = fs::canonical(link, error).string();
        const std::string start = mWalk.root == "/" ? mWalk.root : mWalk.root + '/';
        return !error && target.starts_with(start);
    }

    FolderWalk mWalk{};
    std::vector<std::string> mFolders{};
};

} // namespace

FolderWalk walkFolder(const std::string& folder) {
    std::error_code error;
    const fs::path root = fs::canonical(folder, error);
    if (error) {
        throw std::runtime_error(folder + " cannot be read: " + error.message() + ".");
    }
    if (!fs::is_directory(root, error)) {
        throw std::runtime_error(folder + " is not a folder.");
    }
    return Walker(root).walk();
}

} // namespace radvex::media
