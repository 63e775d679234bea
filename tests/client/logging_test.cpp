#include "httpclient_core/logging.h"

#include <gmock/gmock.h>

#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::IsStatus;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

static_assert(LOG_DECISION == 4);
static_assert(LOG_EXCEPTION == 16);
static_assert(LOG_MISUSE == 512);

// Makes one record of each severity: misuse, a caught exception, a decision.
void makeRecords() {
    HttpRequest request = get();
    EXPECT_THROW(request.getRequestBody(), std::logic_error);

    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("cut")))
        .expect({}, ScriptedAnswer(200));
    EXPECT_THAT(client.makeRequest(get()), IsStatus(200));
}

std::vector<int> severities(const LogCapture& log) {
    std::vector<int> all;
    for (const LogRecord& record : log.records()) all.push_back(record.severity);
    return all;
}

// A program's sink that fails, or a filter of its own that does.
class FailingSink {
public:
    FailingSink() { boost::log::core::get()->add_sink(frontend_); }
    ~FailingSink() { boost::log::core::get()->remove_sink(frontend_); }
    FailingSink(const FailingSink&) = delete;
    FailingSink& operator=(const FailingSink&) = delete;

    int calls() const { return backend_->calls; }

private:
    struct Backend : boost::log::sinks::basic_sink_backend<boost::log::sinks::concurrent_feeding> {
        void consume(const boost::log::record_view&) {
            ++calls;
            throw std::runtime_error("disk is full");
        }
        int calls = 0;
    };

    boost::shared_ptr<Backend> backend_ = boost::make_shared<Backend>();
    boost::shared_ptr<boost::log::sinks::unlocked_sink<Backend>> frontend_ =
        boost::make_shared<boost::log::sinks::unlocked_sink<Backend>>(backend_);
};

TEST(Logging, NamesItsChannels) {
    EXPECT_EQ(std::string(LOG_CHANNEL), "tavrin::httpclient_core");
    EXPECT_EQ(std::string(WEBSOCKET_LOG_CHANNEL), "tavrin::httpclient_core::websocket");
}

TEST(Logging, IsSilentAtFirst) {
    EXPECT_EQ(getLogSeverityMask(LOG_CHANNEL), 0u);
    EXPECT_EQ(getLogSeverityMask(WEBSOCKET_LOG_CHANNEL), 0u);
}

TEST(Logging, WritesNothingWithAMaskOfZero) {
    const LogCapture log(0);

    makeRecords();

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(Logging, KeepsAMaskForEachChannel) {
    const LogCapture restoresTheMasks;
    for (const std::uint32_t mask : {0u, 4u, 0x80000001u, 0xFFFFFFFFu}) {
        setLogSeverityMask(LOG_CHANNEL, mask);
        setLogSeverityMask(WEBSOCKET_LOG_CHANNEL, ~mask);

        EXPECT_EQ(getLogSeverityMask(LOG_CHANNEL), mask);
        EXPECT_EQ(getLogSeverityMask(WEBSOCKET_LOG_CHANNEL), ~mask);
    }
}

TEST(Logging, KnowsNoOtherChannel) {
    for (const std::string channel :
         {"", "tavrin", "tavrin::httpclient_core::", "Tavrin::httpclient_core",
          "tavrin::httpclient_core::websocket::"}) {
        EXPECT_THAT([&] { setLogSeverityMask(channel, 4); },
                    ThrowsExactly<std::out_of_range>(channel + " not found."));
        EXPECT_THAT([&] { getLogSeverityMask(channel); },
                    ThrowsExactly<std::out_of_range>(channel + " not found."));
    }
}

TEST(Logging, WritesTheSeveritiesOfTheMask) {
    const std::pair<std::uint32_t, std::vector<int>> cases[] = {
        {LOG_MISUSE, {512}},
        {LOG_EXCEPTION, {16}},
        {LOG_DECISION, {4}},
        {LOG_MISUSE | LOG_DECISION, {512, 4}},
        {~(LOG_MISUSE | LOG_EXCEPTION | LOG_DECISION), {}},
        {0xFFFFFFFF, {512, 16, 4}},
    };
    for (const auto& [mask, written] : cases) {
        const LogCapture log(mask);

        makeRecords();

        EXPECT_EQ(severities(log), written) << mask;
    }
}

TEST(Logging, TellsSinksTheChannelAndTheSeverity) {
    const LogCapture log(LOG_DECISION);

    makeRecords();

    EXPECT_THAT(log.records(),
                ElementsAre(LogRecord{"tavrin::httpclient_core", 4, "Request not made."}));
}

TEST(Logging, GoesByTheMaskOfItsOwnChannel) {
    const LogCapture log(0);
    setLogSeverityMask(WEBSOCKET_LOG_CHANNEL, 0xFFFFFFFF);

    makeRecords();

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(Logging, WritesNothingWhileTheCoreIsDisabled) {
    const LogCapture log;
    {
        const LoggingDisabled disabled;
        makeRecords();
        EXPECT_THAT(log.records(), IsEmpty());
    }

    makeRecords();

    EXPECT_THAT(severities(log), ElementsAre(512, 16, 4));
}

TEST(Logging, EvaluatesNothingForARecordThatIsNotWanted) {
    static int asked;
    asked = 0;
    struct Inquisitive : std::exception {
        const char* what() const noexcept override {
            ++asked;
            return "asked";
        }
    };
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer::failure(Inquisitive()), 6);
    {
        const LogCapture log(~LOG_EXCEPTION);
        EXPECT_THROW(client.makeRequest(get()), Inquisitive);
    }
    {
        const LogCapture log;
        const LoggingDisabled disabled;
        EXPECT_THROW(client.makeRequest(get()), Inquisitive);
    }
    EXPECT_EQ(asked, 0);

    const LogCapture log(LOG_EXCEPTION);
    EXPECT_THROW(client.makeRequest(get()), Inquisitive);
    EXPECT_EQ(asked, 2);
}

TEST(Logging, SurvivesASinkThatThrows) {
    const LogCapture masks;
    const FailingSink sink;

    EXPECT_NO_THROW(makeRecords());

    EXPECT_EQ(sink.calls(), 3);
}

TEST(Logging, SurvivesAFilterThatThrows) {
    const LogCapture masks;
    int calls = 0;
    boost::log::core::get()->set_filter([&calls](const boost::log::attribute_value_set&) -> bool {
        ++calls;
        throw std::runtime_error("bad filter");
    });

    EXPECT_NO_THROW(makeRecords());
    boost::log::core::get()->reset_filter();

    EXPECT_EQ(calls, 3);
}

TEST(Logging, MayBeSetWhileRecordsAreWritten) {
    constexpr int ROUNDS = 200;
    const LogCapture log;
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < ROUNDS; ++j) makeRecords();
        });
    }
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([] {
            for (std::uint32_t mask = 0; mask < 5 * ROUNDS; ++mask) {
                setLogSeverityMask(LOG_CHANNEL, mask);
                setLogSeverityMask(WEBSOCKET_LOG_CHANNEL, mask);
                EXPECT_LT(getLogSeverityMask(LOG_CHANNEL), 5u * ROUNDS);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_THAT(log.records(), Each(Field(&LogRecord::channel, LOG_CHANNEL)));
}

}  // namespace
}  // namespace tavrin::httpclient_core::test
