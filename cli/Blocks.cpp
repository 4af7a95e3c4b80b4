#include "Blocks.h"

#include <algorithm>

#include "Host.h"
#include "Parcel.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kMostItems = 16;
/// Blocks for each process, so that none is long without work at the end.
constexpr std::size_t kBlocksForEach = 4;

void putResult(ParcelWriter& parcel, const Workers::Work& work, std::size_t item) {
    try {
        const WorkResult result = work(item);
        parcel.putText(result.output);
        parcel.putText(result.error);
    } catch (const velmora::HostError&) { // no other item would be spared
        throw;
    } catch (const std::exception& error) {
        parcel.putText("");
        parcel.putText(error.what());
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
        ParcelWriter parcel;
        for (std::size_t item = block * size; item < endOf(block); ++item) {
            putResult(parcel, work, item);
        }
        return WorkResult{parcel.take(), "", ""};
    });
    Workers single(1, work);
    blocks.run(0, (count + size - 1) / size, [&](std::size_t block, const WorkResult& result) {
        if (!result.end.empty()) {
            single.run(block * size, endOf(block), receive);
            return;
        }
        ParcelReader parcel(result.output);
        for (std::size_t item = block * size; item < endOf(block); ++item) {
            WorkResult one;
            one.output = parcel.getText();
            one.error = parcel.getText();
            receive(item, one);
        }
    });
}

} // namespace radvex::cli
