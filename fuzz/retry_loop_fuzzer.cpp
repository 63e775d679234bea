#include <fuzzer/FuzzedDataProvider.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/httpclient_core.h"
#include "httpclient_testing/scripted_http_client.h"

using namespace tavrin::httpclient_core;
using tavrin::httpclient_testing::ScriptedAnswer;
using tavrin::httpclient_testing::ScriptedHttpClient;

namespace {

// What one attempt meets, and whether the strategy asks for another.
struct Step {
    int code;
    bool acceptsRanges;
    std::string body;
    bool fails;
    bool retry;
};

std::vector<Step> readDialogue(FuzzedDataProvider& input) {
    constexpr int CODES[] = {200, 206, 302, 404, 416, 503, -1};
    std::vector<Step> steps;
    do {
        Step step;
        step.code = input.PickValueInArray(CODES);
        step.acceptsRanges = input.ConsumeBool();
        step.body = step.code == -1 ? "" : input.ConsumeRandomLengthString(30);
        step.fails = input.ConsumeBool();
        step.retry = input.remaining_bytes() > 0 && steps.size() < 50;
        steps.push_back(std::move(step));
    } while (steps.back().retry);
    return steps;
}

ScriptedAnswer answerOf(const Step& step) {
    ScriptedAnswer answer(step.code, "Told");
    if (step.acceptsRanges) answer.withHeader("Accept-Ranges", "bytes");
    answer.withBody(step.body);
    if (step.fails) answer.withFailure(HttpRequestFailedException("told to"));
    return answer;
}

// What a client does, told as plainly as can be.
struct Expected {
    std::vector<std::optional<std::string>> ranges;
    std::string body;
};

Expected expectedOf(const std::vector<Step>& steps, bool resume) {
    Expected expected;
    std::optional<std::string> range;
    for (const auto& step : steps) {
        expected.ranges.push_back(range);
        expected.body += step.body;
        if (!step.retry || step.code == -1) continue;
        if (step.code == 416) {
            range.reset();
            expected.body.clear();
        } else if (resume && step.acceptsRanges) {
            range = "bytes=" + std::to_string(expected.body.size()) + "-";
        } else {
            expected.body.clear();
        }
    }
    return expected;
}

HttpRequest requestFollowing(const std::vector<Step>& steps, bool resume, std::size_t& asked) {
    HttpRequest request(HttpMethod::GET, URL("http://example/"), {});
    request.setRequestBody("the body");
    ClientConfiguration configuration;
    configuration.setResumeOnRetry(resume);
    configuration.setRetryStrategy([&steps, &asked](const HttpRequest&, const HttpResponse&,
                                                    const std::exception_ptr&, int total, int) {
        CHECK(total == static_cast<int>(++asked));
        return steps[asked - 1].retry;
    });
    request.setClientConfiguration(std::move(configuration));
    return request;
}

void checkAttempts(const ScriptedHttpClient& client, const Expected& expected) {
    CHECK(client.problems().empty());
    const auto attempts = client.requests();
    CHECK(attempts.size() == expected.ranges.size());
    for (std::size_t i = 0; i < attempts.size(); ++i) {
        CHECK(attempts[i].body == "the body");
        CHECK(attempts[i].headers.hasHeader("Range") == expected.ranges[i].has_value());
        CHECK(!expected.ranges[i] ||
              attempts[i].headers.getHeaderValue("Range") == *expected.ranges[i]);
    }
}

void checkResponse(const HttpResponse& response, const Step& last, const Expected& expected) {
    CHECK(response.getResponseCode() == static_cast<HttpResponseCode>(last.code));
    CHECK(response.getResponseBodyString() == expected.body);
}

}  // namespace

// Both roads make the attempts that the strategy asks for, with the ranges that were held, and end
// once, as the last attempt does.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const bool resume = input.ConsumeBool();
    const auto steps = readDialogue(input);
    const auto expected = expectedOf(steps, resume);
    ScriptedHttpClient synchronous;
    ScriptedHttpClient asynchronous;
    for (const auto& step : steps) {
        synchronous.expect({}, answerOf(step));
        asynchronous.expect({}, answerOf(step));
    }

    std::size_t asked = 0;
    bool failed = false;
    try {
        const auto response = synchronous.makeRequest(requestFollowing(steps, resume, asked));
        checkResponse(response, steps.back(), expected);
    } catch (const HttpRequestFailedException&) {
        failed = true;
    }
    CHECK(failed == steps.back().fails);
    CHECK(asked == steps.size());
    checkAttempts(synchronous, expected);

    asked = 0;
    int completions = 0;
    asynchronous.makeAsyncRequest(
        requestFollowing(steps, resume, asked),
        [&](const HttpRequest&, const HttpResponse& response, const std::exception_ptr& error) {
            ++completions;
            CHECK((error != nullptr) == steps.back().fails);
            checkResponse(response, steps.back(), expected);
        });
    CHECK(completions == 1);
    CHECK(asked == steps.size());
    checkAttempts(asynchronous, expected);
    return 0;
}
