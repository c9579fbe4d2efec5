#include "auth/secret.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <string>

// What the last freed blocks held at the moment of being freed, seen by this program's own operator delete.
// The sanitizers' interceptors do not see these functions, so the blocks come straight from malloc.
namespace {

constexpr char kPattern[] = "correct horse battery staple";
bool watching = false;
int freedWithPattern = 0;
int freed = 0;

bool Holds(const void* block, std::size_t size) {
    const std::string_view bytes(static_cast<const char*>(block), size);
    return bytes.find(kPattern) != std::string_view::npos;
}

// Each block carries its size in front of it.
constexpr std::size_t kFront = alignof(std::max_align_t);

void* Allocate(std::size_t size) {
    void* const block = std::malloc(size + kFront);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(block, &size, sizeof(size));
    return static_cast<char*>(block) + kFront;
}

void Free(void* memory) {
    if (memory == nullptr) {
        return;
    }
    char* const block = static_cast<char*>(memory) - kFront;
    std::size_t size = 0;
    std::memcpy(&size, block, sizeof(size));
    if (watching) {
        ++freed;
        freedWithPattern += Holds(memory, size) ? 1 : 0;
    }
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory) noexcept {
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}

namespace zelto {
namespace {

class Secret : public ::testing::Test {
protected:
    void SetUp() override {
        freed = 0;
        freedWithPattern = 0;
        watching = true;
    }
    void TearDown() override { watching = false; }
};

TEST_F(Secret, TheWatchSeesAPlainStringLeaveItsTextBehind) {
    {
        const std::string plain(kPattern);
    }
    EXPECT_EQ(freedWithPattern, 1);
}

TEST_F(Secret, TextIsWipedBeforeItIsFreed) {
    {
        const SecretText secret{std::string_view(kPattern)};
    }
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(freedWithPattern, 0);
}

TEST_F(Secret, ReplacedTextIsWiped) {
    SecretText secret{std::string_view(kPattern)};
    secret = SecretText(std::string_view("x"));
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(freedWithPattern, 0);
    EXPECT_EQ(secret.View(), "x");
}

TEST_F(Secret, AMoveTakesTheStorageAlong) {
    SecretText secret{std::string_view("pw")};
    const char* const characters = secret.CString();
    const SecretText taker = std::move(secret);
    EXPECT_EQ(taker.CString(), characters);
    EXPECT_EQ(secret.View(), ""); // NOLINT(bugprone-use-after-move): that nothing stays is the point
}

TEST_F(Secret, ShortTextIsNotKeptInsideTheObject) {
    const SecretText secret{std::string_view("pw")};
    const char* const object = reinterpret_cast<const char*>(&secret);
    EXPECT_TRUE(secret.CString() < object || secret.CString() >= object + sizeof(secret));
}

TEST_F(Secret, GrowthWipesTheSmallerStorage) {
    {
        SecretBytes bytes(kPattern, kPattern + sizeof(kPattern));
        bytes.resize(bytes.capacity() + 1);
    }
    EXPECT_EQ(freed, 2);
    EXPECT_EQ(freedWithPattern, 0);
}

TEST_F(Secret, ShrinkingLeavesNothingInTheUnusedRest) {
    {
        SecretBytes bytes(kPattern, kPattern + sizeof(kPattern));
        bytes.clear();
    }
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(freedWithPattern, 0);
}

TEST_F(Secret, WipeReachesTheLastByteAndNoFurther) {
    std::array<char, 6> bytes = {'a', 'b', 'c', 'd', 'e', 'f'};
    Wipe(bytes.data() + 1, 4);
    EXPECT_EQ(bytes, (std::array<char, 6>{'a', 0, 0, 0, 0, 'f'}));
    Wipe(nullptr, 0);
}

TEST_F(Secret, ZeroBytesAreText) {
    const SecretText secret{std::string_view("a\0b", 3)};
    EXPECT_EQ(secret.View(), std::string_view("a\0b", 3));
    EXPECT_STREQ(secret.CString(), "a");
}

TEST_F(Secret, TextIsTerminated) {
    const SecretText secret{std::string_view("pw")};
    EXPECT_EQ(std::string_view(secret.CString(), 3), std::string_view("pw\0", 3));
}

TEST_F(Secret, TheEmptyTextIsTerminated) {
    EXPECT_STREQ(SecretText().CString(), "");
    EXPECT_STREQ(SecretText(std::string_view()).CString(), "");
}

} // namespace
} // namespace zelto
