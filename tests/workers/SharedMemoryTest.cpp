#include "workers/SharedMemory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "formats/volumes/VolumeFile.h"

using namespace radvex::workers;
using radvex::Error;

TEST(SharedMemory, WhatAnotherProcessWritesIsHere) {
    SharedMemory memory(true);
    std::byte* before = memory.allocate(5);
    const pid_t process = ::fork();
    if (process == 0) {
        std::byte* block = memory.allocate(100000);
        std::fill_n(block, 100000, std::byte{7});
        *before = std::byte{static_cast<unsigned char>(memory.offsetOf(block))};
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(process, nullptr, 0), process);
    const std::size_t offset = std::to_integer<std::size_t>(*before);
    const std::byte* block = memory.at(offset, 100000);
    EXPECT_EQ(std::count(block, block + 100000, std::byte{7}), 100000);
    EXPECT_GE(memory.offsetOf(memory.allocate(1)), offset + 100000) << "what the other took is taken";
}

TEST(SharedMemory, BlocksLieApartAndAreAligned) {
    for (const bool isShared : {false, true}) {
        SharedMemory memory(isShared);
        const std::byte* first = memory.allocate(3);
        const std::byte* second = memory.allocate(1);
        EXPECT_GE(second, first + 3);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second) % alignof(std::max_align_t), 0U);
        memory.clear();
        EXPECT_EQ(memory.allocate(1), first);
    }
}

TEST(SharedMemory, MoreThanThereIsIsRefused) {
    SharedMemory memory(true);
    EXPECT_THROW((void)memory.allocate(std::numeric_limits<std::size_t>::max()), Error);
    EXPECT_THROW((void)memory.allocate(std::size_t{1} << 60), Error);
    EXPECT_NE(memory.allocate(1), nullptr) << "and costs nothing";
}

TEST(SharedMemory, OffsetsOutsideItAreRefused) {
    SharedMemory memory(true);
    const std::size_t offset = memory.offsetOf(memory.allocate(64));
    EXPECT_NO_THROW((void)memory.at(offset, 64));
    EXPECT_THROW((void)memory.at(offset, 65), Error);
    EXPECT_THROW((void)memory.at(offset + 65, 0), Error);
    EXPECT_THROW((void)memory.at(0, 1), Error);
    EXPECT_THROW((void)memory.at(offset, std::numeric_limits<std::size_t>::max()), Error);
}

TEST(SharedMemory, ABlockThatIsEmptiedStaysABlock) {
    for (const bool isShared : {false, true}) {
        SharedMemory memory(isShared);
        std::byte* block = memory.allocate(100000);
        std::fill_n(block, 100000, std::byte{7});
        std::byte* next = memory.allocate(8);
        *next = std::byte{1};
        memory.empty(block, 100000);
        EXPECT_EQ(block[50000], std::byte{0});
        EXPECT_EQ(*next, std::byte{1});
        std::fill_n(block, 100000, std::byte{8});
        EXPECT_EQ(block[99999], std::byte{8});
    }
}
