#include "workers/Blocks.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "host/Host.h"
#include "workers/Parcel.h"

namespace radvex::workers {

namespace {

constexpr std::size_t kMostItems = 16;
/// Blocks for each process, so that none is long without work at the end.
constexpr std::size_t kBlocksForEach = 4;

/// What one item of a block gave.
struct ItemResult {
    std::string output{};
    std::string error{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.output, self.error);
    }
};

ItemResult resultOf(const Workers::Work& work, std::size_t item) {
    try {
        return {work(item), ""};
    } catch (const velmora::HostError&) { // no other item would be spared
        throw;
    } catch (const std::exception& error) {
        return {"", error.what()};
    }
}

} // namespace

void forEachInBlocks(std::size_t processes, std::size_t count, const Workers::Work& work,
                     const Workers::Receive& receive) {
    const std::size_t size =
        std::clamp<std::size_t>(count / std::max<std::size_t>(1, processes * kBlocksForEach), 1, kMostItems);
    if (processes == 0 || size == 1) {
        Workers(processes, work).run(0, count, receive);
        return;
    }
    const auto endOf = [&](std::size_t block) { return std::min(count, (block + 1) * size); };
    Workers blocks(processes, [&](std::size_t block) {
        std::vector<ItemResult> results;
        for (std::size_t item = block * size; item < endOf(block); ++item) {
            results.push_back(resultOf(work, item));
        }
        return toParcel(results);
    });
    Workers single(1, work);
    blocks.run(0, (count + size - 1) / size, [&](std::size_t block, const WorkResult& result) {
        if (!result.end.empty()) {
            single.run(block * size, endOf(block), receive);
            return;
        }
        std::size_t item = block * size;
        auto results = fromParcel<std::vector<ItemResult>>(result.output);
        if (results.size() != endOf(block) - item) {
            throw std::runtime_error("A process sent another number of results than was expected.");
        }
        for (ItemResult& one : results) {
            receive(item++, {std::move(one.output), std::move(one.error), ""});
        }
    });
}

} // namespace radvex::workers
