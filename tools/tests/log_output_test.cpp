#include "log_output.h"

#include <gmock/gmock.h>
#include <httpclient_core/headers.h>
#include <httpclient_core/logging.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tavrin::http_tool {
namespace {

using ::testing::ElementsAre;

// Misuse, about which the library writes the text of its exception.
void askForAbsent(const std::string& name) {
    EXPECT_THROW(httpclient_core::HttpHeaders().getHeaderValue(name), std::out_of_range);
}

TEST(LogOutputs, ShowRecordsWithTheirSeverityWhileTheyLive) {
    std::vector<std::string> texts;
    askForAbsent("before");
    {
        const LogOutput output([&](const std::string& text) { texts.push_back(text); });
        askForAbsent("X-Absent");
    }
    askForAbsent("after");

    EXPECT_THAT(texts, ElementsAre("* [misuse] X-Absent not found."));
    EXPECT_EQ(httpclient_core::getLogSeverityMask(httpclient_core::LOG_CHANNEL), 0U);
}

TEST(LogOutputs, IndentTheFurtherLinesOfARecord) {
    std::vector<std::string> texts;
    const LogOutput output([&](const std::string& text) { texts.push_back(text); });
    askForAbsent("a\nb");

    EXPECT_THAT(texts, ElementsAre("* [misuse] a", "*          b not found."));
}

}  // namespace
}  // namespace tavrin::http_tool
