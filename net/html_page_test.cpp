// The pages as the built library holds them: what browsers get, byte by byte.

#include "net/html_page.h"

#include "net/callback_answer.h"
#include "resources/resource_ids.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace zelto::test {
namespace {

using testing::HasSubstr;
using testing::Not;

struct Page {
    std::uint32_t id;
    const char* title;
    const char* paragraph;
};

class HtmlPageTest : public testing::TestWithParam<Page> {
protected:
    HtmlPageTest() { LoadHtmlPage(library, GetParam().id, page); }
    ~HtmlPageTest() override { FreeLibrary(library); }

    HMODULE library = LoadBuiltLibrary(LibraryUnderTest::LibraryPath());
    std::string page;
};

TEST_P(HtmlPageTest, HasItsTitleAndParagraph) {
    EXPECT_THAT(page, HasSubstr("<h1>" + std::string(GetParam().title) + "</h1>"));
    EXPECT_THAT(page, HasSubstr("<title>" + std::string(GetParam().title) + "</title>"));
    EXPECT_THAT(page, HasSubstr("<p>" + std::string(GetParam().paragraph) + "</p>"));
}

TEST_P(HtmlPageTest, ShowsAnInlineIconAboveTheTitle) {
    const std::size_t container = page.find("<main class=\"container\">");
    const std::size_t icon = page.find("<div class=\"icon icon-short-fat vpn-connected-icon\">\r\n<svg ");
    const std::size_t title = page.find("<h1>");
    const std::size_t paragraph = page.find("<p>");
    ASSERT_NE(icon, std::string::npos);
    EXPECT_LT(container, icon);
    EXPECT_LT(icon, title);
    EXPECT_LT(title, paragraph);
}

TEST_P(HtmlPageTest, IsCentredInTheWindowAndInItself) {
    EXPECT_THAT(page, HasSubstr("  align-items: center;\r\n  justify-content: center;\r\n"));
    EXPECT_THAT(page, HasSubstr("  text-align: center;\r\n"));
}

TEST_P(HtmlPageTest, EveryLineEndsInCarriageReturnAndLineFeed) {
    ASSERT_FALSE(page.empty());
    EXPECT_EQ(page.substr(page.size() - 2), "\r\n");
    EXPECT_GT(std::count(page.begin(), page.end(), '\n'), 20);
    EXPECT_EQ(std::count(page.begin(), page.end(), '\n'), std::count(page.begin(), page.end(), '\r'));
    for (std::size_t end = page.find('\n'); end != std::string::npos; end = page.find('\n', end + 1)) {
        ASSERT_EQ(page[end - 1], '\r');
    }
}

TEST_P(HtmlPageTest, FetchesNothingFromOutside) {
    EXPECT_THAT(page, Not(HasSubstr("http")));
    EXPECT_THAT(page, Not(HasSubstr("//")));
    EXPECT_THAT(page, Not(HasSubstr("src=")));
    EXPECT_THAT(page, Not(HasSubstr("url(")));
    EXPECT_THAT(page, Not(HasSubstr("@import")));
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    // The only link is the empty icon: browsers would ask the listener's port for one otherwise.
    EXPECT_EQ(page.find("<link"), page.find("<link rel=\"icon\" href=\"data:,\">"));
    EXPECT_EQ(page.find("href="), page.rfind("href="));
}

TEST_P(HtmlPageTest, IsReadableOnAPhoneAndInTheDark) {
    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>\r\n<html lang=\"en\">"));
    EXPECT_THAT(page, HasSubstr("<meta charset=\"utf-8\">"));
    EXPECT_THAT(page, HasSubstr("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"));
    EXPECT_THAT(page, HasSubstr("@media (prefers-color-scheme: dark)"));
}

// The answer goes out in one send to a socket whose buffer holds at least 8 KiB, and a page that a browser is
// to recognise without a content type begins with its document type.
TEST_P(HtmlPageTest, FitsIntoOneSend) {
    EXPECT_LT(CallbackAnswer(page).size(), 8192u);
    EXPECT_EQ(page.find('\0'), std::string::npos);
    EXPECT_TRUE(std::all_of(page.begin(), page.end(), [](char byte) { return byte > 0; }))
        << "not plain ASCII";
}

INSTANTIATE_TEST_SUITE_P(Pages, HtmlPageTest,
                         testing::Values(Page{1004, "ZTNA Connecting",
                                              "Your ZTNA connection has been redirected to ZeltoClient.<br>"
                                              "You may close the browser window now."},
                                         Page{1005, "VPN Connecting",
                                              "Your VPN connection has been redirected to ZeltoClient.<br>"
                                              "You may close the browser window now."}),
                         [](const testing::TestParamInfo<Page>& info) {
                             return info.param.id == 1004 ? "Ztna" : "Vpn";
                         });

class LoadHtmlPageTest : public testing::Test {
protected:
    ~LoadHtmlPageTest() override { FreeLibrary(library); }
    HMODULE library = LoadBuiltLibrary(LibraryUnderTest::LibraryPath());
};

TEST_F(LoadHtmlPageTest, AnswersOneForAPageThatIsThere) {
    std::string page;
    EXPECT_EQ(LoadHtmlPage(library, ZELTO_PAGE_VPN, page), 1);
    EXPECT_FALSE(page.empty());
}

TEST_F(LoadHtmlPageTest, AMissingPageLeavesTheTextEmpty) {
    std::string page = "old";
    EXPECT_EQ(LoadHtmlPage(library, 1003, page), 0);
    EXPECT_EQ(page, "");
}

TEST_F(LoadHtmlPageTest, WithoutAModuleThereIsNoPage) {
    std::string page = "old";
    EXPECT_EQ(LoadHtmlPage(nullptr, ZELTO_PAGE_VPN, page), 0);
    EXPECT_EQ(page, "");
}

// The host may have pages of its own.
TEST_F(LoadHtmlPageTest, WithoutAModuleTheHostIsNotSearched) {
    const ImportPatch patch(
        GetModuleHandleW(nullptr), "FindResourceW", +[](HMODULE, LPCWSTR, LPCWSTR) -> HRSRC {
            ADD_FAILURE() << "searched";
            return nullptr;
        });
    std::string page;
    EXPECT_EQ(LoadHtmlPage(nullptr, ZELTO_PAGE_VPN, page), 0);
}

TEST_F(LoadHtmlPageTest, APageThatCannotBeLoadedIsNone) {
    const ImportPatch patch(
        GetModuleHandleW(nullptr), "LoadResource", +[](HMODULE, HRSRC) -> HGLOBAL { return nullptr; });
    std::string page = "old";
    EXPECT_EQ(LoadHtmlPage(library, ZELTO_PAGE_VPN, page), 0);
    EXPECT_EQ(page, "");
}

TEST_F(LoadHtmlPageTest, TheLibraryHasAVersionAndAManifest) {
    EXPECT_NE(FindResourceW(library, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16)), nullptr);
    EXPECT_NE(FindResourceW(library, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24)), nullptr);
    EXPECT_EQ(FindResourceW(library, MAKEINTRESOURCEW(3), MAKEINTRESOURCEW(24)), nullptr);
}

} // namespace
} // namespace zelto::test
