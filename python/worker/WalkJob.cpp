#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "files/Errors.h"
#include "python/worker/Jobs.h"

namespace radvex::python {

using formats::Json;

namespace {

namespace fs = std::filesystem;

struct CloseFolder {
    void operator()(DIR* folder) const { (void)::closedir(folder); }
};
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

/// FNV-1a, 64 bits: tells whether the list of a folder is the one of the last time.
std::string digestOf(const std::string& bytes) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

/// What one folder holds.
struct Content {
    std::vector<std::string> folders{};
    std::string files{}; ///< name, size in bytes, time of the last change in nanoseconds, each with a null behind
    std::size_t count = 0;
    std::string problem{}; ///< why the folder cannot be read
};

/// Several threads, because storage behind a network takes its time to answer for each file.
class Walk {
  public:
    Walk(const std::string& root, const Messages& messages)
        : mRoot(fs::canonical(root)), mMessages(messages), mLeft{""} {}

    /// Folder by folder, so that memory does not grow with the files; names are sorted byte by byte.
    void run() {
        std::vector<std::thread> threads;
        for (std::size_t index = 0; index < kThreads; ++index) {
            threads.emplace_back([this] { work(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        if (mFailure) {
            std::rethrow_exception(mFailure);
        }
    }

  private:
    static constexpr std::size_t kThreads = 8;

    void work() {
        while (const auto folder = next()) {
            try {
                Content content = read(*folder);
                tell(*folder, content);
                finish(*folder, content.folders);
            } catch (...) { // nobody listens, or no memory
                const std::lock_guard lock(mMutex);
                mFailure = std::current_exception();
                mChanged.notify_all();
            }
        }
    }

    /// Waits until there is a folder; nothing at the end.
    std::optional<std::string> next() {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mFailure || !mLeft.empty() || mBusy == 0; });
        if (mFailure || mLeft.empty()) {
            return std::nullopt;
        }
        std::string folder = std::move(mLeft.back());
        mLeft.pop_back();
        ++mBusy;
        return folder;
    }

    void finish(const std::string& folder, std::vector<std::string>& inner) {
        const std::lock_guard lock(mMutex);
        std::ranges::reverse(inner); // the first is taken first
        for (std::string& name : inner) {
            mLeft.push_back(folder.empty() ? std::move(name) : std::string(folder).append("/").append(name));
        }
        --mBusy;
        mChanged.notify_all();
    }

    Content read(const std::string& folder) const {
        Content content;
        const OpenFolder open(::opendir((mRoot / folder).c_str()));
        if (open == nullptr) {
            content.problem = std::generic_category().message(errno);
            return content;
        }
        std::vector<std::string> names;
        while (const dirent* entry = ::readdir(open.get())) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                names.push_back(name);
            }
        }
        std::ranges::sort(names);
        for (const std::string& name : names) {
            add(content, ::dirfd(open.get()), folder, name);
        }
        return content;
    }

    /// Links to folders are not followed, and a link to a file of the archive is not that file once more.
    void add(Content& content, int descriptor, const std::string& folder, const std::string& name) const {
        struct stat found {};
        if (::fstatat(descriptor, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
            return; // gone meanwhile
        }
        if (S_ISDIR(found.st_mode)) {
            content.folders.push_back(name);
            return;
        }
        if (S_ISLNK(found.st_mode) &&
            (isOwnFile(mRoot / folder / name) || ::fstatat(descriptor, name.c_str(), &found, 0) != 0)) {
            return;
        }
        if (S_ISREG(found.st_mode)) {
            const std::int64_t changed = std::int64_t{found.st_mtim.tv_sec} * 1'000'000'000 + found.st_mtim.tv_nsec;
            content.files.append(name).append(1, '\0');
            content.files.append(std::to_string(found.st_size)).append(1, '\0');
            content.files.append(std::to_string(changed)).append(1, '\0');
            ++content.count;
        }
    }

    bool isOwnFile(const fs::path& link) const {
        std::error_code error;
        const std::string target = fs::canonical(link, error).string();
        return !error && target.starts_with(mRoot.string() + '/');
    }

    void tell(const std::string& folder, const Content& content) {
        const std::string digest = digestOf(content.files);
        const std::lock_guard lock(mTelling); // two messages that belong together
        mMessages.send({{"folder", formats::toJson(folder)},
                        {"count", content.count},
                        {"digest", digest},
                        {"problem", content.problem}});
        mMessages.sendBytes(content.files);
    }

    fs::path mRoot;
    const Messages& mMessages;
    std::mutex mTelling{};
    std::mutex mMutex{}; ///< of what follows
    std::condition_variable mChanged{};
    std::vector<std::string> mLeft;
    std::size_t mBusy = 0; ///< threads that may find more folders
    std::exception_ptr mFailure{};
};

/// Counts the files below a folder by what the folders themselves say, without a look at any file: several times as
/// fast as the walk, whose end it foretells.
class Count {
  public:
    Count(std::string root, const Messages& messages) : mLeft{std::move(root)}, mMessages(messages) {}

    void run() {
        while (!mLeft.empty()) {
            const std::string folder = std::move(mLeft.back());
            mLeft.pop_back();
            add(folder);
            tell();
        }
        mMessages.send({{"count", mCount}});
    }

  private:
    void add(const std::string& folder) {
        const OpenFolder open(::opendir(folder.c_str()));
        while (const dirent* entry = open == nullptr ? nullptr : ::readdir(open.get())) {
            const std::string name = entry->d_name;
            struct stat found {};
            const bool isUnknown = entry->d_type == DT_UNKNOWN &&
                                   ::fstatat(::dirfd(open.get()), entry->d_name, &found, AT_SYMLINK_NOFOLLOW) == 0;
            if (entry->d_type == DT_REG || (isUnknown && S_ISREG(found.st_mode))) {
                ++mCount;
            } else if ((entry->d_type == DT_DIR || (isUnknown && S_ISDIR(found.st_mode))) && name != "." &&
                       name != "..") {
                mLeft.push_back(std::string(folder).append("/").append(name));
            }
        }
    }

    void tell() {
        const auto now = std::chrono::steady_clock::now();
        if (now - mTold >= std::chrono::milliseconds(200)) {
            mTold = now;
            mMessages.send({{"count", mCount}});
        }
    }

    std::vector<std::string> mLeft;
    const Messages& mMessages;
    std::size_t mCount = 0;
    std::chrono::steady_clock::time_point mTold = std::chrono::steady_clock::now();
};

void requireFolder(const std::string& path) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        throw FileError(path + " is not a folder.");
    }
}

} // namespace

void sendFiles(const Request& request, const Messages& messages) {
    requireFolder(request.path);
    Walk(request.path, messages).run();
}

void sendCount(const Request& request, const Messages& messages) {
    requireFolder(request.path);
    Count(request.path, messages).run();
}

} // namespace radvex::python
