#include "auth/wipe_guard.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace zelto {
namespace {

// True when the first `count` characters behind `storage` are zeros.
template <class Char>
bool IsWiped(const Char* storage, std::size_t count) {
    return std::all_of(storage, storage + count, [](Char character) { return character == Char(); });
}

TEST(WipeGuardTest, WipesAtTheEndOfItsScope) {
    std::string text(40, 's');
    {
        const WipeGuard wiped(text);
        EXPECT_EQ(text, std::string(40, 's'));
    }
    EXPECT_EQ(text, std::string(40, '\0'));
}

TEST(WipeGuardTest, WipesAWideTextToItsLastByte) {
    std::wstring text(40, static_cast<wchar_t>(0x7373));
    {
        const WipeGuard wiped(text);
    }
    EXPECT_EQ(text, std::wstring(40, L'\0'));
}

TEST(WipeGuardTest, WipesWhatAShortenedTextHasLeftInItsStorage) {
    std::string text(40, 's');
    {
        const WipeGuard wiped(text);
        text.resize(4);
    }
    EXPECT_TRUE(IsWiped(text.data(), text.capacity()));
}

TEST(WipeGuardTest, WipesTheStorageThatTheTextHasAtTheEnd) {
    std::string text;
    {
        const WipeGuard wiped(text);
        text = std::string(40, 's');
    }
    EXPECT_EQ(text, std::string(40, '\0'));
}

TEST(MoveSecretTest, TakesTheStorageOfALongTextAlong) {
    std::string from(40, 's');
    const char* const storage = from.data();
    std::string to;
    MoveSecret(to, std::move(from));
    EXPECT_EQ(to, std::string(40, 's'));
    EXPECT_EQ(to.data(), storage);
}

TEST(MoveSecretTest, MovesAShortText) {
    std::string to;
    MoveSecret(to, std::string("pw"));
    EXPECT_EQ(to, "pw");
}

} // namespace
} // namespace zelto
