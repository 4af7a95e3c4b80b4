#include "deidentify/PseudonymTable.h"
#include "deidentify/identifiers/AsciiText.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

namespace {

constexpr const char* kHeading = "original ID,new ID,new name";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF"; // some programs begin a file with it

bool isBlank(const std::vector<std::string>& line) { return line.size() == 1 && trimmed(line.front()).empty(); }

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
        const ssize_t count = write(mDescriptor, text.data(), text.size());
        const bool isCutShort = count >= 0 && count < static_cast<ssize_t>(text.size());
        if (count < 0 || isCutShort || fsync(mDescriptor) != 0) {
            const int reason = isCutShort ? ENOSPC : errno;
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
/// @throws FileError  a quote does not end: what is added behind it would be a part of its cell
std::vector<std::vector<std::string>> readCells(const std::string& path, const std::string& text) {
    std::vector<std::vector<std::string>> lines;
    std::vector<std::string> line{""};
    bool isQuoted = false;
    for (std::size_t index = text.starts_with(kUtf8Mark) ? kUtf8Mark.size() : 0; index < text.size(); ++index) {
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
    if (isQuoted) {
        throw FileError(path + ": a quote does not end.");
    }
    if (!isBlank(line)) {
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

/// A PatientID or a name holds 64 characters, and a backslash would make it two values.
bool mayBeValue(const std::string& text) {
    constexpr std::size_t kLongest = 64;
    return text.size() <= kLongest && std::ranges::none_of(text, [](char character) {
               return character == '\\' || static_cast<unsigned char>(character) < ' ';
           });
}

/// @throws FileError  no file could hold them
PatientPseudonym pseudonymIn(const std::vector<std::string>& cells, const std::string& where) {
    if (cells.size() != 3) {
        throw FileError(where + "an original ID, a new ID and a new name are expected, with commas between them.");
    }
    PatientPseudonym pseudonym{std::string(trimmed(cells[1])), std::string(trimmed(cells[2]))};
    if (pseudonym.id.empty() || !mayBeValue(pseudonym.id)) {
        throw FileError(where + "the new ID has to have 1 to 64 characters and no backslash.");
    }
    if (!mayBeValue(pseudonym.name)) {
        throw FileError(where + "the new name may have 64 characters and no backslash.");
    }
    if (!formats::isValidUtf8(pseudonym.id) || !formats::isValidUtf8(pseudonym.name)) {
        throw FileError(where + "the table is not in UTF-8.");
    }
    return pseudonym;
}

std::map<std::string, PatientPseudonym> readTable(const std::string& path, const std::string& text) {
    std::map<std::string, PatientPseudonym> table;
    std::set<std::string> newIds;
    std::size_t number = 0;
    for (const auto& cells : readCells(path, text)) {
        ++number;
        if (isBlank(cells) || (number == 1 && cells.front() == "original ID")) {
            continue;
        }
        const std::string where = path + ", line " + std::to_string(number) + ": ";
        const PatientPseudonym pseudonym = pseudonymIn(cells, where);
        if (!table.emplace(trimmed(cells[0]), pseudonym).second) {
            throw FileError(where + "the original ID stands in an earlier line too.");
        }
        if (!newIds.insert(pseudonym.id).second) {
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
