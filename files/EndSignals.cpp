#include "files/EndSignals.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace radvex::files {

namespace {

// A handler of signals may neither allocate nor call most of the library: the notes have fixed places, and folders are
// read with the system's own call.

constexpr std::size_t kMostFolders = 64;
constexpr std::size_t kLongestPath = 4096;
constexpr int kDeepest = 32;
constexpr int kMostAttempts = 100;
constexpr std::array kEndSignals{SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ};

struct Note {
    enum State { Free, Taken, Noted };
    std::atomic<int> state{Free};
    pid_t owner = 0;
    std::array<char, kLongestPath> path{};
};
static_assert(std::atomic<int>::is_always_lock_free, "a handler reads it");

std::array<Note, kMostFolders>& notes() {
    static std::array<Note, kMostFolders> all;
    return all;
}

/// The head of an entry as the system's call writes it.
struct EntryHead {
    unsigned long long inode;
    long long offset;
    unsigned short length;
    unsigned char type;
};
constexpr std::size_t kNameOffset = offsetof(EntryHead, type) + 1;

void removeContents(int folder, int depth);

void removeEntry(int folder, const char* name, int depth) {
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 || unlinkat(folder, name, 0) == 0) {
        return;
    }
    const int inner = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (inner >= 0) {
        removeContents(inner, depth + 1);
        (void)close(inner);
    }
    (void)unlinkat(folder, name, AT_REMOVEDIR);
}

void removeContents(int folder, int depth) {
    if (depth > kDeepest) {
        return;
    }
    alignas(EntryHead) std::array<char, 4096> buffer{};
    long count = 0;
    while ((count = syscall(SYS_getdents64, folder, buffer.data(), buffer.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            EntryHead head{};
            std::memcpy(&head, buffer.data() + at, kNameOffset);
            removeEntry(folder, buffer.data() + at + kNameOffset, depth);
            at += head.length;
        }
    }
}

/// Tries again while a forked process still writes into the folder.
void removeFolder(const char* path) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const int folder = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (folder < 0) {
            return;
        }
        removeContents(folder, 0);
        (void)close(folder);
        if (rmdir(path) == 0) {
            return;
        }
    }
}

void removeAllAndEnd(int signal) {
    const pid_t self = getpid();
    for (Note& note : notes()) {
        if (note.state.load() == Note::Noted && note.owner == self) {
            removeFolder(note.path.data());
        }
    }
    (void)std::signal(signal, SIG_DFL);
    (void)raise(signal); // delivered when this handler returns
}

} // namespace

void removeFoldersOnEndSignals() {
    (void)notes(); // made now: a handler must not be the first to need it
    struct sigaction action {};
    action.sa_handler = removeAllAndEnd;
    (void)sigfillset(&action.sa_mask);
    for (const int signal : kEndSignals) {
        struct sigaction former {};
        if (sigaction(signal, nullptr, &former) == 0 && former.sa_handler == SIG_DFL) {
            (void)sigaction(signal, &action, nullptr);
        }
    }
}

int noteFolder(const std::string& path) {
    if (path.size() >= kLongestPath) {
        return -1;
    }
    for (std::size_t index = 0; index < kMostFolders; ++index) {
        Note& note = notes()[index];
        int free = Note::Free;
        if (note.state.compare_exchange_strong(free, Note::Taken)) {
            note.owner = getpid();
            std::memcpy(note.path.data(), path.c_str(), path.size() + 1);
            note.state.store(Note::Noted);
            return static_cast<int>(index);
        }
    }
    return -1;
}

void forgetFolder(int note) {
    if (note >= 0) {
        notes()[static_cast<std::size_t>(note)].state.store(Note::Free);
    }
}

} // namespace radvex::files
