// The memory services as the library brings them.
#include <kmath/platform.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

const std::vector<std::size_t> tooMany = {std::numeric_limits<std::size_t>::max(),
                                          std::size_t{PTRDIFF_MAX} + 1};

TEST(MemoryAlloc, GivesABlockToWriteTo)
{
    for (const std::size_t bytes : {1u, 17u, 4096u, 1000000u}) {
        void *block = nullptr;
        ASSERT_EQ(ksys_memory_alloc_internal(&block, bytes), KMATH_OK);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
        std::memset(block, 0xA5, bytes);
        ASSERT_EQ(ksys_memory_free_internal(&block), KMATH_OK);
        EXPECT_EQ(block, nullptr);
    }
}

TEST(MemoryAlloc, ClearsItsBlockWhereThatIsAskedFor)
{
    for (int repeat = 0; repeat < 10; ++repeat) { // the second block is one that was written to
        void *block = nullptr;
        ASSERT_EQ(ksys_memory_allocClear_internal(&block, 1000), KMATH_OK);
        EXPECT_EQ(std::vector<char>(1000),
                  std::vector<char>(static_cast<char *>(block), static_cast<char *>(block) + 1000));
        std::memset(block, 0xA5, 1000);
        ksys_memory_free_internal(&block);
    }
}

TEST(MemoryAlloc, GivesNullForNothing)
{
    int any;
    void *block = &any;
    EXPECT_EQ(ksys_memory_alloc_internal(&block, 0), KMATH_OK);
    EXPECT_EQ(block, nullptr);
    block = &any;
    EXPECT_EQ(ksys_memory_allocClear_internal(&block, 0), KMATH_OK);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryAlloc, RefusesMoreThanCanBeAddressed)
{
    for (const std::size_t bytes : tooMany) {
        int any;
        void *block = &any;
        EXPECT_EQ(ksys_memory_alloc_internal(&block, bytes), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(block, nullptr);
        block = &any;
        EXPECT_EQ(ksys_memory_allocClear_internal(&block, bytes), KMATH_ERR_NO_MEMORY);
        EXPECT_EQ(block, nullptr);
    }
}

TEST(MemoryAlloc, PassesOnTheRefusalOfTheAllocator)
{
    void *block = nullptr;
    EXPECT_EQ(ksys_memory_alloc_internal(&block, PTRDIFF_MAX), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(ksys_memory_allocClear_internal(&block, PTRDIFF_MAX), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(ksys_memory_realloc_internal(&block, PTRDIFF_MAX), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryRealloc, KeepsTheContentAsFarAsItReaches)
{
    void *block = nullptr;
    ASSERT_EQ(ksys_memory_realloc_internal(&block, 3), KMATH_OK) << "a new block";
    std::memcpy(block, "abc", 3);
    ASSERT_EQ(ksys_memory_realloc_internal(&block, 100000), KMATH_OK);
    EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
    ASSERT_EQ(ksys_memory_realloc_internal(&block, 2), KMATH_OK);
    EXPECT_EQ(std::memcmp(block, "ab", 2), 0);
    ASSERT_EQ(ksys_memory_realloc_internal(&block, 0), KMATH_OK);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryRealloc, LeavesTheBlockWhenRefused)
{
    void *block = nullptr;
    ASSERT_EQ(ksys_memory_alloc_internal(&block, 3), KMATH_OK);
    std::memcpy(block, "abc", 3);
    void *const before = block;
    for (const std::size_t bytes : tooMany)
        EXPECT_EQ(ksys_memory_realloc_internal(&block, bytes), KMATH_ERR_NO_MEMORY);
    EXPECT_EQ(block, before);
    EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
    ksys_memory_free_internal(&block);
}

TEST(MemoryFree, LeavesANullBlockAlone)
{
    void *block = nullptr;
    EXPECT_EQ(ksys_memory_free_internal(&block), KMATH_OK);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryCopy, CopiesOverlappingRanges)
{
    std::array<char, 6> bytes = {'a', 'b', 'c', 'd', 'e', 'f'};
    EXPECT_EQ(ksys_memory_copy(bytes.data() + 1, bytes.data(), 5), KMATH_OK);
    EXPECT_EQ(bytes, (std::array{'a', 'a', 'b', 'c', 'd', 'e'}));
    EXPECT_EQ(ksys_memory_copy(bytes.data(), bytes.data() + 2, 4), KMATH_OK);
    EXPECT_EQ(bytes, (std::array{'b', 'c', 'd', 'e', 'd', 'e'}));
    EXPECT_EQ(ksys_memory_copy(nullptr, nullptr, 0), KMATH_OK);
}

TEST(MemoryFill, SetsEachByteToTheLowBits)
{
    std::array<unsigned char, 4> bytes = {};
    EXPECT_EQ(ksys_memory_fill(bytes.data(), 0x1A5, 3), KMATH_OK);
    EXPECT_EQ(bytes, (std::array<unsigned char, 4>{0xA5, 0xA5, 0xA5, 0}));
    EXPECT_EQ(ksys_memory_fill(nullptr, 1, 0), KMATH_OK);
}

} // namespace

// The sanitizers stop at an allocation that cannot be had unless they are told that this is wanted.
extern "C" const char *__asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char *__tsan_default_options() { return "allocator_may_return_null=1"; }
