#include "deidentify/PseudonymTable.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "files/Errors.h"

namespace radvex::deidentify {

namespace {

constexpr const char* kHeading = "original ID,new ID,new name";

/// The table, open and locked until this object ends.
class LockedFile {
  public:
    LockedFile(const std::string& path, bool isWritten)
        : mPath(path), mDescriptor(open(path.c_str(), (isWritten ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC, 0600)) {
        if (mDescriptor < 0 && (isWritten || errno != ENOENT)) {
            fail("cannot be opened");
        }
        while (mDescriptor >= 0 && flock(mDescriptor, LOCK_EX) != 0) {
            if (errno != EINTR) {
                fail("cannot be locked");
            }
        }
    }
    ~LockedFile() {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
    }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    std::string read() const {
        std::string text;
        char piece[65536];
        for (ssize_t count = 1; mDescriptor >= 0 && count > 0;) {
            count = ::read(mDescriptor, piece, sizeof piece);
            if (count < 0) {
                fail("cannot be read");
            }
            text.append(piece, static_cast<std::size_t>(count));
        }
        return text;
    }

    /// All or nothing: what a full disk cut short is taken back.
    void append(const std::string& text) const {
        const off_t end = lseek(mDescriptor, 0, SEEK_END);
        const bool isWritten = write(mDescriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                               fsync(mDescriptor) == 0;
        if (!isWritten) {
            const int reason = errno;
            (void)!ftruncate(mDescriptor, end);
            errno = reason;
            fail("cannot be written");
        }
    }

  private:
    [[noreturn]] void fail(const char* what) const {
        throw FileError(mPath + ' ' + what + ": " + std::strerror(errno) + '.');
    }

    std::string mPath;
    int mDescriptor;
};

/// The cells of all lines. A cell in quotes may hold commas, line breaks and doubled quotes.
std::vector<std::vector<std::string>> readCells(const std::string& text) {
    std::vector<std::vector<std::string>> lines;
    std::vector<std::string> line{""};
    bool isQuoted = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        if (character == '"') {
            const bool isDoubled = isQuoted && index + 1 < text.size() && text[index + 1] == '"';
            isQuoted = isDoubled || !isQuoted;
            index += isDoubled ? 1 : 0;
            line.back() += isDoubled ? "\"" : "";
        } else if (character == ',' && !isQuoted) {
            line.emplace_back();
        } else if (character == '\n' && !isQuoted) {
            lines.push_back(std::move(line));
            line = {""};
        } else if (character != '\r' || isQuoted) {
            line.back() += character;
        }
    }
    if (line.size() > 1 || !line.front().empty()) {
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string quoted(const std::string& cell) {
    if (cell.find_first_of(",\"\r\n") == std::string::npos) {
        return cell;
    }
    std::string text = "\"";
    for (const char character : cell) {
        text += character == '"' ? "\"\"" : std::string(1, character);
    }
    return text + '"';
}

/// A PatientID holds 64 characters, and a backslash would make it two values.
bool mayBeId(const std::string& id) {
    constexpr std::size_t kLongest = 64;
    return !id.empty() && id.size() <= kLongest && std::ranges::none_of(id, [](char character) {
        return character == '\\' || static_cast<unsigned char>(character) < ' ';
    });
}

std::map<std::string, PatientPseudonym> readTable(const std::string& path, const std::string& text) {
    std::map<std::string, PatientPseudonym> table;
    std::set<std::string> newIds;
    std::size_t number = 0;
    for (const auto& cells : readCells(text)) {
        ++number;
        if (number == 1 && cells.front() == "original ID") {
            continue;
        }
        const std::string where = path + ", line " + std::to_string(number) + ": ";
        if (cells.size() != 3) {
            throw FileError(where + "an original ID, a new ID and a new name are expected, with commas between them.");
        }
        if (!mayBeId(cells[1])) {
            throw FileError(where + "the new ID has to have 1 to 64 characters and no backslash.");
        }
        if (!table.emplace(cells[0], PatientPseudonym{cells[1], cells[2]}).second) {
            throw FileError(where + "the original ID stands in an earlier line too.");
        }
        if (!newIds.insert(cells[1]).second) {
            throw FileError(where + "another patient has the same new ID.");
        }
    }
    return table;
}

} // namespace

std::map<std::string, PatientPseudonym> pseudonymsOf(const std::string& path, const std::set<std::string>& patients,
                                                     bool isWritten,
                                                     const std::function<PatientPseudonym(const std::string&)>& make) {
    const LockedFile file(path, isWritten);
    const std::string text = file.read();
    auto table = readTable(path, text);
    std::string added = text.empty() ? std::string(kHeading) + '\n' : text.back() == '\n' ? "" : "\n";
    const std::size_t before = table.size();
    for (const std::string& patient : patients) {
        if (!table.contains(patient)) {
            const PatientPseudonym pseudonym = table.emplace(patient, make(patient)).first->second;
            added += quoted(patient) + ',' + quoted(pseudonym.id) + ',' + quoted(pseudonym.name) + '\n';
        }
    }
    if (isWritten && table.size() > before) {
        file.append(added);
    }
    return table;
}

} // namespace radvex::deidentify
