#include "deidentify/identifiers/IdentifierFinder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "deidentify/identifiers/ByteEncodings.h"
#include "deidentify/identifiers/ByteSearch.h"
#include "deidentify/identifiers/IdentifierIndex.h"

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

/// Takes candidates that overlap no longer one.
std::vector<Find> withoutOverlaps(std::vector<Find> finds, std::size_t size) {
    std::stable_sort(finds.begin(), finds.end(),
                     [](const Find& one, const Find& other) { return one.length > other.length; });
    std::vector<bool> isTaken(finds.empty() ? 0 : size);
    std::vector<Find> taken;
    for (const Find& find : finds) {
        // What is taken is no shorter, so that it covers an end of whatever it overlaps.
        if (!isTaken[find.begin] && !isTaken[find.begin + find.length - 1]) {
            std::fill_n(isTaken.begin() + static_cast<std::ptrdiff_t>(find.begin), find.length, true);
            taken.push_back(find);
        }
    }
    std::sort(taken.begin(), taken.end(), [](const Find& one, const Find& other) { return one.begin < other.begin; });
    return taken;
}

} // namespace

IdentifierFinder::IdentifierFinder(const KnownIdentifiers& known)
    : mIndex(std::make_unique<IdentifierIndex>(known)), mEncodings(std::make_unique<ByteEncodings>(*mIndex)) {}

IdentifierFinder::~IdentifierFinder() = default;
IdentifierFinder::IdentifierFinder(IdentifierFinder&&) noexcept = default;
IdentifierFinder& IdentifierFinder::operator=(IdentifierFinder&&) noexcept = default;

bool IdentifierFinder::isEmpty() const { return mIndex->all().empty(); }

std::vector<Find> IdentifierFinder::findAll(std::string_view utf8Text) const {
    if (isEmpty() || utf8Text.empty()) {
        return {};
    }
    const TextWords words(utf8Text);
    std::vector<Candidate> candidates = mIndex->candidatesIn(words);
    const std::vector<Candidate> glued = mIndex->gluedCandidatesIn(words);
    candidates.insert(candidates.end(), glued.begin(), glued.end());
    std::vector<Find> finds;
    for (const Candidate& candidate : candidates) {
        const std::size_t begin = words.folded().beginOf(candidate.begin);
        const std::size_t end = words.folded().endOf(candidate.end - 1);
        finds.push_back({begin, end - begin, &(*mIndex)[candidate.number]});
    }
    return withoutOverlaps(std::move(finds), utf8Text.size());
}

std::optional<Identifier> IdentifierFinder::findInBytes(std::string_view bytes) const {
    ByteSearch search(*this);
    const std::optional<Identifier> found = search.add(bytes);
    return found.has_value() ? found : search.finish();
}

std::optional<Identifier> IdentifierFinder::findInFile(const std::string& path) const {
    constexpr std::size_t kPiece = std::size_t{1} << 18;
    const Descriptor file(path);
    ByteSearch search(*this);
    std::string bytes(kPiece, '\0');
    for (std::size_t count = file.readInto(bytes); count > 0; count = file.readInto(bytes)) {
        if (std::optional<Identifier> found = search.add(std::string_view(bytes).substr(0, count))) {
            return found;
        }
    }
    return search.finish();
}

} // namespace radvex::deidentify
