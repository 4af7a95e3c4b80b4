#include "deidentify/identifiers/FilePieces.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace radvex::deidentify {

namespace {

class Descriptor {
  public:
    explicit Descriptor(const std::string& path) : mNumber(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (mNumber >= 0) {
            close(mNumber);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// The number of bytes read, 0 at the end. @throws std::runtime_error  part of a sentence
    std::size_t readInto(std::string& bytes) const {
        ssize_t count = -1;
        do {
            count = mNumber < 0 ? -1 : read(mNumber, bytes.data(), bytes.size());
        } while (count < 0 && mNumber >= 0 && errno == EINTR);
        if (count < 0) {
            throw std::runtime_error("it cannot be read: " + std::generic_category().message(errno));
        }
        return static_cast<std::size_t>(count);
    }

  private:
    int mNumber;
};

} // namespace

void readInPieces(const std::string& path, const std::function<bool(std::string_view piece)>& take) {
    constexpr std::size_t kPiece = std::size_t{1} << 18;
    const Descriptor file(path);
    std::string bytes(kPiece, '\0');
    for (std::size_t count = file.readInto(bytes); count > 0; count = file.readInto(bytes)) {
        if (!take(std::string_view(bytes).substr(0, count))) {
            return;
        }
    }
}

} // namespace radvex::deidentify
