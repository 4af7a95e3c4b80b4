#include "deidentify/identifiers/IdentifierFinder.h"

#include <algorithm>

#include "deidentify/identifiers/ByteEncodings.h"
#include "deidentify/identifiers/ByteSearch.h"
#include "deidentify/identifiers/FilePieces.h"
#include "deidentify/identifiers/IdentifierIndex.h"
#include "deidentify/identifiers/NameBytes.h"

namespace radvex::deidentify {

namespace {

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
    : mIndex(std::make_unique<IdentifierIndex>(known)),
      mEncodings(std::make_unique<ByteEncodings>(*mIndex)),
      mNames(std::make_unique<NameBytesFinder>(known.nameBytes())) {}

IdentifierFinder::~IdentifierFinder() = default;
IdentifierFinder::IdentifierFinder(IdentifierFinder&&) noexcept = default;
IdentifierFinder& IdentifierFinder::operator=(IdentifierFinder&&) noexcept = default;

bool IdentifierFinder::isEmpty() const { return mIndex->all().empty() && mNames->isEmpty(); }

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
    constexpr std::size_t kLongestText = 4096; // in so few bytes nothing is found by chance
    if (bytes.size() <= kLongestText) {
        if (std::optional<Identifier> name = findNameBytesIn(bytes)) {
            return name;
        }
    }
    ByteSearch search(*this);
    const std::optional<Identifier> found = search.add(bytes);
    return found.has_value() ? found : search.finish();
}

std::optional<Identifier> IdentifierFinder::findNameBytesIn(std::string_view bytes) const {
    const NameBytes* name = mNames->findIn({.bytes = bytes, .isText = true});
    return name == nullptr ? std::nullopt : std::optional(Identifier{name->kind, name->bytes});
}

std::optional<Identifier> IdentifierFinder::findInFile(const std::string& path) const {
    ByteSearch search(*this);
    std::optional<Identifier> found;
    readInPieces(path, [&](std::string_view piece) {
        found = search.add(piece);
        return !found;
    });
    return found ? found : search.finish();
}

} // namespace radvex::deidentify
