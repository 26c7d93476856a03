#include "handlers/rescan_page.h"

#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"
#include "scan/scanner.h"
#include "support/handler_call.h"

namespace {

class RescanPage : public testing::Test {
protected:
    void SetUp() override {
        settings_set(Setting::contentdir, "/nowhere/music,M|/nowhere/a&b");
        forget_request();
    }
    void TearDown() override {
        forget_request();
        settings_free_all();
    }

    // A pass that does not run still does away with what was requested.
    static void forget_request() { scan_all(RunningFlag{}); }

    static HandlerAnswer get(std::string_view url) { return call_handler(handle_rescan, url); }
    static std::string page(const std::string& text) {
        return std::string{"<html><head><title>Rescan</title></head><body>"}.append(text).append("!</body></html>");
    }
};

TEST_F(RescanPage, AnswersAndAsksForTheScan) {
    const HandlerAnswer first = get("/rescan");
    EXPECT_EQ(first.header("Content-Type"), "text/html; charset=UTF-8");
    EXPECT_EQ(first.body, page("rescan initiated on content root directories"));
    EXPECT_EQ(get(std::string{"/rescan"}.append(5000, 'x')).body, page("rescan allready running"));
    forget_request();
}

TEST_F(RescanPage, NamesTheDirectoryBehindThePrefix) {
    const std::pair<const char*, const char*> cases[] = {
        {"/rescan/nowhere/music/caf%C3%A9", "rescan initiated on /nowhere/music/caf\xC3\xA9"},
        {"/rescanM%7C/nowhere/a%26b", "rescan initiated on M|/nowhere/a&amp;b"},
        {"/rescan/nowhere/music/%2e%2e/%2e%2e/etc", "rescan invalid for /nowhere/music/../../etc"},
        {"/rescan%3Cscript%3E%22%0d%0aX:%20y", "rescan invalid for &lt;script&gt;&quot;\r\nX: y"},
    };
    for (const auto& [url, text] : cases) {
        const HandlerAnswer answer = get(url);
        EXPECT_EQ(answer.body, page(text));
        EXPECT_EQ(answer.header("X"), "(none)");
        forget_request();
    }
    EXPECT_EQ(get(std::string{"/rescan"}.append(5000, '<')).body.size(), 2047u) << "the page's room";
}

}  // namespace
