#include "httpclient_testing/scripted_http_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <algorithm>
#include <future>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "httpclient_core/exceptions.h"
#include "httpclient_core/retry.h"
#include "httpclient_testing/matchers.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::ClientConfiguration;
using httpclient_core::CompletionHandler;
using httpclient_core::DataPart;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpRequestTimeoutException;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::MultipartBody;
using httpclient_core::noRetriesStrategy;
using httpclient_core::PartHeader;
using httpclient_core::Progress;
using httpclient_core::ProgressResult;
using httpclient_core::TransactionReport;
using httpclient_core::URL;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;

const char FILE_URL[] = "http://host/file";

HttpRequest get(HttpHeaders headers = {}) {
    return HttpRequest(HttpMethod::GET, URL(FILE_URL), std::move(headers));
}

HttpRequest put(const std::string& body) {
    HttpRequest request(HttpMethod::PUT, URL(FILE_URL), {});
    request.setRequestBody(body);
    return request;
}

ExpectedRequest expectedGet() { return {HttpMethod::GET, FILE_URL}; }

ClientConfiguration attempts(int count) {
    return ClientConfiguration().withRetryStrategy(
        [count](const auto&, const auto&, const auto&, int total, int) { return total < count; });
}

// Collects what the requests of a test came to, in order.
struct Outcomes {
    std::vector<std::string> texts;

    CompletionHandler handler() {
        return [this](HttpRequest, HttpResponse response, const std::exception_ptr& error) {
            try {
                if (error) std::rethrow_exception(error);
                texts.push_back(to_string(response.getResponseCode()));
            } catch (const std::exception& failure) {
                texts.emplace_back(failure.what());
            }
        };
    }
};

TEST(ScriptedHttpClient, AnswersInTheOrderOfTheScript) {
    ScriptedHttpClient client;
    client.expect(expectedGet(), ScriptedAnswer(200, "OK").withHeader("A", "b").withBody("one"))
        .expect(expectedGet(), ScriptedAnswer(HttpResponseCode::NOT_FOUND, "Not Found"));

    const HttpResponse first = client.makeRequest(get());
    const HttpResponse second = client.makeRequest(get());

    EXPECT_EQ(wireText(first), "HTTP/1.1 200 OK\nA: b\n\none");
    EXPECT_EQ(wireText(second), "HTTP/1.1 404 Not Found\n\n");
    EXPECT_NO_THROW(client.verify());
}

TEST(ScriptedHttpClient, RecordsEveryAttemptAsItCame) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    client.expect({}, ScriptedAnswer(200), 3);
    HttpRequest multipart(HttpMethod::POST, URL("http://host/form"), {});
    multipart.setMultipartBody(MultipartBody().withPart(DataPart(PartHeader("field"), "value")));

    client.makeRequest(get({{"X-One", "1"}, {"x-one", "2"}}));
    client.makeRequest(put("text"));
    client.makeRequest(std::move(multipart));

    const auto requests = client.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(wireText(requests[0]), "GET http://host/file HTTP/1.1\nX-One: 1\nx-one: 2\n\n");
    EXPECT_EQ(requests[0].body, std::nullopt);
    EXPECT_EQ(requests[0].requestId, std::nullopt);
    EXPECT_EQ(wireText(requests[1]),
              "PUT http://host/file HTTP/1.1\nContent-Type: text/plain\nContent-Length: 4\n\ntext");
    EXPECT_EQ(requests[1].multipartBody.has_value(), false);
    ASSERT_TRUE(requests[2].multipartBody);
    EXPECT_EQ(requests[2].multipartBody->getDataPart("field").getData(), "value");
}

TEST(ScriptedHttpClient, RecordsTheIdsOfAsynchronousRequests) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 2);

    client.makeAsyncRequest(get()).get();
    client.makeAsyncRequest(get()).get();

    const auto requests = client.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].requestId, 0u);
    EXPECT_EQ(requests[1].requestId, 1u);
}

TEST(ScriptedHttpClient, LeavesARequestBodyReadToItsEnd) {
    ScriptedHttpClient client;
    std::ios::iostate state = std::ios::goodbit;
    client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest& request, HttpResponse&) {
        state = request.getRequestBody().rdstate();
    }));

    client.makeRequest(put("text"));

    EXPECT_EQ(state, std::ios::eofbit | std::ios::failbit);
}

TEST(ScriptedHttpClient, FailsAnAttemptWhoseBodyCannotBeRead) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200));
    HttpRequest request(HttpMethod::PUT, URL(FILE_URL), {{"Content-Length", "4"}});
    auto broken = std::make_unique<std::stringstream>("text");
    broken->setstate(std::ios::badbit);
    request.setRequestBody(std::move(broken));

    EXPECT_THAT([&] { client.makeRequest(std::move(request)); },
                ThrowsMessage<HttpRequestFailedException>("Request body could not be read."));
}

TEST(ScriptedHttpClient, WritesTheBodyChunkByChunkAndReportsProgress) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withChunk("ab").withChunk("").withBody("cdefg", 2));
    std::ostringstream progress;
    HttpRequest request = get();
    request.setProgressCallback([&](const Progress& now) {
        progress << now.downloadNow << '/' << now.downloadTotal << ' ';
        return ProgressResult::CONTINUE;
    });

    const HttpResponse response = client.makeRequest(std::move(request));

    EXPECT_THAT(response, BodyIs("abcdefg"));
    EXPECT_EQ(progress.str(), "2/7 4/7 6/7 7/7 ");
}

TEST(ScriptedHttpClient, EndsATransferThatTheProgressCallbackCancels) {
    ScriptedHttpClient client;
    std::string body;
    client.expect({}, ScriptedAnswer(200).withBody("abc", 1));
    HttpRequest request = get();
    request.setProgressCallback([](const Progress& now) {
        return now.downloadNow < 2 ? ProgressResult::CONTINUE : ProgressResult::CANCEL;
    });

    EXPECT_THROW(client.makeRequest(std::move(request)), HttpRequestCancelledException);
}

TEST(ScriptedHttpClient, FailsAfterTheGivenNumberOfBytes) {
    const std::string body = "abcdef";
    for (std::size_t length = 0; length <= body.size() + 1; ++length) {
        ScriptedHttpClient client;
        std::string held;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            [&](const auto&, const HttpResponse& response, const auto&, int, int) {
                held = response.getResponseBodyString();
                return false;
            }));
        client.expect({}, ScriptedAnswer(200).withBody(body, 4).withFailureAfter(
                              length, HttpRequestFailedException("cut")));

        EXPECT_THAT([&] { client.makeRequest(get()); },
                    ThrowsMessage<HttpRequestFailedException>("cut"));
        EXPECT_EQ(held, body.substr(0, length));
    }
}

TEST(ScriptedAnswer, CutsTheBodyWhereItsLastFailureSays) {
    const HttpRequestFailedException first("first"), last("last");
    const auto answer = [] { return ScriptedAnswer(200).withBody("abcdef"); };
    const auto bodyOf = [&](const ScriptedAnswer& failing) {
        auto request = get();
        HttpResponse response(request);
        EXPECT_THAT([&] { failing.answer(request, response); },
                    ThrowsMessage<HttpRequestFailedException>("last"));
        return response.getResponseBodyString();
    };

    EXPECT_EQ(bodyOf(answer().withFailureAfter(4, first).withFailure(last)), "abcdef");
    EXPECT_EQ(bodyOf(answer().withFailureAfter(4, first).withFailureAfter(2, last)), "ab");
    EXPECT_EQ(bodyOf(answer().withFailure(first).withFailureAfter(4, last)), "abcd");
}

TEST(ScriptedHttpClient, ThrowsAnythingInPlaceOfAnAnswer) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    client.expect({}, ScriptedAnswer::failure(HttpRequestTimeoutException()))
        .expect({}, ScriptedAnswer::failure(42))
        .expect({}, ScriptedAnswer(200).withFailure(std::string("text")));

    EXPECT_THROW(client.makeRequest(get()), HttpRequestTimeoutException);
    EXPECT_THROW(client.makeRequest(get()), int);
    EXPECT_THROW(client.makeRequest(get()), std::string);
}

TEST(ScriptedHttpClient, RethrowsTheVeryObjectOfAnExceptionPointer) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    const auto error = std::make_exception_ptr(HttpRequestFailedException("this one"));
    client.expect({}, ScriptedAnswer::failure(error));

    std::exception_ptr caught;
    try {
        client.makeRequest(get());
    } catch (...) {
        caught = std::current_exception();
    }

    EXPECT_EQ(caught, error);
}

TEST(ScriptedHttpClient, RefusesToStartAnAsynchronousAttempt) {
    for (const Completion completion :
         {Completion::ON_CALLING_THREAD, Completion::ON_OWN_THREAD, Completion::WHEN_TOLD}) {
        ScriptedHttpClient client(completion);
        client.expect({}, ScriptedAnswer::refusal(HttpRequestFailedException("going down")));
        Outcomes outcomes;

        EXPECT_THAT([&] { client.makeAsyncRequest(get(), outcomes.handler()); },
                    ThrowsMessage<HttpRequestFailedException>("going down"));

        EXPECT_EQ(client.pending(), 0u);
        EXPECT_EQ(client.requests().size(), 1u);
        EXPECT_THAT(outcomes.texts, ElementsAre());
    }
}

TEST(ScriptedHttpClient, FailsASynchronousAttemptThatIsRefused) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer::refusal(42)).expect({}, ScriptedAnswer(200));

    EXPECT_THAT(client.makeRequest(get()), IsStatus(200));
}

TEST(ScriptedHttpClient, SetsTheTransactionReport) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withTransactionReport({2, URL("http://other/")}));

    const TransactionReport report = client.makeRequest(get()).getTransactionReport();

    EXPECT_EQ(report.redirectCount(), 2);
    EXPECT_EQ(report.effectiveURL(), URL("http://other/"));
}

TEST(ScriptedHttpClient, FailsWhenTheResponseBodyCannotBeWritten) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withBody("text"));
    HttpRequest request = get();
    request.setResponseStreamFactory([](auto, const auto&, const auto&) {
        auto stream = std::make_unique<std::stringstream>();
        stream->setstate(std::ios::badbit);
        return stream;
    });

    EXPECT_THAT([&] { client.makeRequest(std::move(request)); },
                ThrowsMessage<HttpRequestFailedException>("Response body could not be written."));
}

TEST(ScriptedHttpClient, FailsARequestThatWasNotExpectedAndShowsBothSides) {
    ScriptedHttpClient client;
    client.expect(expectedGet().withHeader("Range", "bytes=3-").withoutHeader("If-Range"),
                  ScriptedAnswer(206));
    const std::string text =
        "Unexpected request 1:\n"
        "GET http://host/file HTTP/1.1\n"
        "Range: bytes=5-\n"
        "\n"
        "\n"
        "Expected instead (! is not met):\n"
        "  method GET\n"
        "  URL http://host/file\n"
        "! header Range: bytes=3-\n"
        "  no header If-Range\n"
        "\n";

    EXPECT_THAT(
        [&] {
            client.makeRequest(get({{"Range", "bytes=5-"}}));
        },
        ThrowsMessage<std::logic_error>(text));

    EXPECT_EQ(client.requests().size(), 1u);
    EXPECT_EQ(client.problems(), text +
                                     "Expected 1 more time, but it never came:\n"
                                     "  method GET\n"
                                     "  URL http://host/file\n"
                                     "  header Range: bytes=3-\n"
                                     "  no header If-Range\n"
                                     "\n"
                                     "Received so far:\n"
                                     "1: GET http://host/file HTTP/1.1\n"
                                     "Range: bytes=5-\n"
                                     "\n"
                                     "\n"
                                     "\n");
}

TEST(ScriptedHttpClient, ShowsOnlyTheNextExpectationOfAnOrderedScript) {
    ScriptedHttpClient client;
    client.expect(ExpectedRequest().withUrl("http://host/next"), ScriptedAnswer(200))
        .expect(ExpectedRequest().withUrl("http://host/later"), ScriptedAnswer(200));

    EXPECT_THAT([&] { client.makeRequest(get()); },
                ThrowsMessage<std::logic_error>(
                    AllOf(HasSubstr("http://host/next"), Not(HasSubstr("http://host/later")))));
    EXPECT_THROW(client.verify(), std::logic_error);
}

TEST(ScriptedHttpClient, FailsARequestBehindTheEndOfTheScript) {
    ScriptedHttpClient client;

    EXPECT_THAT([&] { client.makeRequest(get()); },
                ThrowsMessage<std::logic_error>("Unexpected request 1:\n"
                                                "GET http://host/file HTTP/1.1\n"
                                                "\n"
                                                "\n"
                                                "Expected instead (! is not met):\n"
                                                "  no further request\n"
                                                "\n"));
    EXPECT_THROW(client.verify(), std::logic_error);
}

TEST(ScriptedHttpClient, FailsAnUnexpectedAsynchronousRequestThroughItsCompletion) {
    ScriptedHttpClient client;

    std::future<HttpResponse> response = client.makeAsyncRequest(get());

    EXPECT_THAT([&] { response.get(); },
                ThrowsMessage<std::logic_error>(StartsWith("Unexpected request 1:\n")));
    EXPECT_THROW(client.verify(), std::logic_error);
}

TEST(ScriptedHttpClient, VerifyThrowsWhatIsWrong) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 2);
    client.makeRequest(get());

    EXPECT_THAT([&] { client.verify(); },
                ThrowsMessage<std::logic_error>("Expected 1 more time, but it never came:\n"
                                                "  any request\n"
                                                "\n"
                                                "Received so far:\n"
                                                "1: GET http://host/file HTTP/1.1\n"
                                                "\n"
                                                "\n"
                                                "\n"));

    client.makeRequest(get());
    EXPECT_NO_THROW(client.verify());
    EXPECT_EQ(client.problems(), "");
}

TEST(ScriptedHttpClient, CountsWhatIsLeftOfARepeatedExpectation) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 0).expect({}, ScriptedAnswer(200), 2);

    EXPECT_EQ(client.problems(),
              "Expected 2 more times, but it never came:\n  any request\n\nReceived nothing.\n\n");
}

TEST(ScriptedHttpClient, ShowsTheLastOfManyRequestsBesideWhatNeverCame) {
    ScriptedHttpClient client;
    client.setOrder(ScriptOrder::ANY);
    client.expect({}, ScriptedAnswer(200), 12)
        .expect(ExpectedRequest().withoutHeader("No"), ScriptedAnswer(200));
    for (int i = 1; i <= 12; ++i) client.makeRequest(get({{"No", std::to_string(i)}}));

    EXPECT_THAT(client.problems(),
                AllOf(StartsWith("Expected 1 more time, but it never came:\n"
                                 "  no header No\n"
                                 "\n"
                                 "Received so far:\n"
                                 "(2 before)\n"
                                 "3: GET http://host/file HTTP/1.1\n"
                                 "No: 3\n"),
                      HasSubstr("\n12: GET http://host/file HTTP/1.1\nNo: 12\n")));
}

TEST(ScriptedHttpClient, FailsTheTestThatLeavesAnExpectationUnmet) {
    EXPECT_NONFATAL_FAILURE(ScriptedHttpClient().expect(expectedGet(), ScriptedAnswer(200)),
                            "Expected 1 more time, but it never came:\n"
                            "  method GET\n"
                            "  URL http://host/file\n"
                            "\n"
                            "Received nothing.\n");
}

// What a client says that is destroyed after `test`.
std::string lastWords(const std::function<void(ScriptedHttpClient&)>& test,
                      Completion completion = Completion::ON_CALLING_THREAD) {
    std::string text;
    setUnmetReporter([&](const std::string& problems) { text += problems; });
    {
        ScriptedHttpClient client(completion);
        setUnmetReporter(detail::failTestForUnmet);
        client.expect({}, ScriptedAnswer(200), 2);
        test(client);
    }
    return text;
}

TEST(ScriptedHttpClient, SaysOnceWhatIsUnmet) {
    EXPECT_THAT(lastWords([](ScriptedHttpClient& client) { client.makeRequest(get()); }),
                AllOf(StartsWith("Expected 1 more time"), HasSubstr("1: GET http://host/file")));
    EXPECT_EQ(lastWords([](ScriptedHttpClient& client) { client.problems(); }), "");
    EXPECT_EQ(lastWords([](ScriptedHttpClient& client) {
                  EXPECT_THROW(client.verify(), std::logic_error);
              }),
              "");
    EXPECT_THAT(lastWords([](ScriptedHttpClient& client) {
                    client.problems();
                    client.makeRequest(get());
                }),
                StartsWith("Expected 1 more time"));
    EXPECT_THAT(lastWords([](ScriptedHttpClient& client) {
                    client.problems();
                    client.expect({}, ScriptedAnswer(200));
                }),
                StartsWith("Expected 2 more times"));
}

TEST(ScriptedHttpClient, SaysNothingIfAllIsMetOrNeedNotBe) {
    EXPECT_EQ(lastWords([](ScriptedHttpClient& client) {
                  client.makeRequest(get());
                  client.makeRequest(get());
              }),
              "");
    EXPECT_EQ(lastWords([](ScriptedHttpClient& client) { client.setUnmetAllowed(true); }), "");
    EXPECT_THAT(lastWords([](ScriptedHttpClient& client) {
                    client.setUnmetAllowed(true);
                    client.setUnmetAllowed(false);
                }),
                StartsWith("Expected 2 more times"));
}

TEST(ScriptedHttpClient, SaysWhatWasUnexpectedThoughNobodySawTheException) {
    const auto surprise = [](ScriptedHttpClient& client) {
        client.makeRequest(get());
        client.makeRequest(get());
        client.makeAsyncRequest(get());
    };

    EXPECT_THAT(lastWords(surprise), StartsWith("Unexpected request 3:\nGET http://host/file"));
    EXPECT_THAT(lastWords([&](ScriptedHttpClient& client) {
                    client.setUnmetAllowed(true);
                    surprise(client);
                }),
                StartsWith("Unexpected request 3:"));
    EXPECT_EQ(lastWords([&](ScriptedHttpClient& client) {
                  surprise(client);
                  EXPECT_THROW(client.verify(), std::logic_error);
              }),
              "");
}

TEST(ScriptedHttpClient, SaysWhatIsUnmetOnTheErrorStreamIfNobodyElseIsToHear) {
    testing::internal::CaptureStderr();
    setUnmetReporter(nullptr);
    ScriptedHttpClient().expect({}, ScriptedAnswer(200));
    setUnmetReporter(detail::failTestForUnmet);

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Expected 1 more time, but it never came:\n  any request\n\nReceived nothing.\n\n");
}

TEST(ScriptedHttpClient, SurvivesAReporterThatFails) {
    testing::internal::CaptureStderr();
    setUnmetReporter([](const std::string&) { throw std::runtime_error("no pen"); });
    ScriptedHttpClient().expect({}, ScriptedAnswer(200));
    setUnmetReporter(detail::failTestForUnmet);

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unmet expectations: no pen\n");
}

TEST(ScriptedHttpClient, ShowsNoCredentialInItsTexts) {
    ScriptedHttpClient client;
    client.expect(ExpectedRequest()
                      .withHeader("Authorization", "secret")
                      .withHeaders({{"Cookie", "secret"}})
                      .withUrl("http://secret@host/")
                      .withBody("a=b&password=secret"),
                  ScriptedAnswer(200));

    EXPECT_ANY_THROW(client.makeRequest(
        HttpRequest(HttpMethod::GET, URL("http://secret@host/"), {{"Authorization", "secret"}})));

    EXPECT_THAT(client.problems(), HasSubstr("  header Authorization: ***\n"));
    EXPECT_THAT(client.problems(), HasSubstr("  body \"a=b&password=***\"\n"));
    EXPECT_THAT(client.problems(), Not(HasSubstr("secret")));
}

TEST(ScriptedHttpClient, TakesWhatFitsWhenTheOrderIsAny) {
    ScriptedHttpClient client;
    client.setOrder(ScriptOrder::ANY);
    client.expect(ExpectedRequest().withUrl("http://host/one"), ScriptedAnswer(201))
        .expect(ExpectedRequest().withUrl(FILE_URL), ScriptedAnswer(202))
        .expect(ExpectedRequest().withUrl(FILE_URL), ScriptedAnswer(203));

    EXPECT_THAT(client.makeRequest(get()), IsStatus(202));
    EXPECT_THAT(client.makeRequest(get()), IsStatus(203));
    EXPECT_THAT([&] { client.makeRequest(get()); },
                ThrowsMessage<std::logic_error>(HasSubstr("! URL http://host/one\n")));
    EXPECT_THROW(client.verify(), std::logic_error);
}

TEST(ExpectedRequest, AsksForNothingAtFirst) {
    EXPECT_TRUE(ExpectedRequest().isMetBy({HttpMethod::GET, "", {}, {}, {}, {}}));
    EXPECT_EQ(ExpectedRequest().describe(), "  any request\n");
}

TEST(ExpectedRequest, HoldsEachConditionAgainstTheRequest) {
    const RecordedRequest request{HttpMethod::PUT, FILE_URL, {{"One", "1"}, {"one", "2"}},
                                  "body",          {},       {}};
    const RecordedRequest bodiless{HttpMethod::PUT, FILE_URL, {}, {}, {}, {}};
    const auto tells = [&](const ExpectedRequest& expected) { return expected.isMetBy(request); };

    EXPECT_TRUE(tells(ExpectedRequest().withMethod(HttpMethod::PUT)));
    EXPECT_FALSE(tells(ExpectedRequest().withMethod(HttpMethod::POST)));
    EXPECT_TRUE(tells(ExpectedRequest().withUrl(FILE_URL)));
    EXPECT_FALSE(tells(ExpectedRequest().withUrl("http://host/")));
    EXPECT_TRUE(tells(ExpectedRequest().withHeader("ONE", "2")));
    EXPECT_FALSE(tells(ExpectedRequest().withHeader("One", "3")));
    EXPECT_TRUE(tells(ExpectedRequest().withoutHeader("Two")));
    EXPECT_FALSE(tells(ExpectedRequest().withoutHeader("ONE")));
    EXPECT_TRUE(tells(ExpectedRequest().withHeaders({{"One", "1"}, {"one", "2"}})));
    EXPECT_FALSE(tells(ExpectedRequest().withHeaders({{"one", "2"}, {"One", "1"}})));
    EXPECT_FALSE(tells(ExpectedRequest().withHeaders({{"One", "1"}})));
    EXPECT_FALSE(tells(ExpectedRequest().withHeaders({{"One", "1"}, {"one", "2"}, {"A", "b"}})));
    EXPECT_FALSE(tells(ExpectedRequest().withHeaders({{"ONE", "1"}, {"one", "2"}})));
    EXPECT_TRUE(tells(ExpectedRequest().withBody("body")));
    EXPECT_FALSE(tells(ExpectedRequest().withBody("bod")));
    EXPECT_FALSE(ExpectedRequest().withBody("").isMetBy(bodiless));
    EXPECT_TRUE(ExpectedRequest().withoutBody().isMetBy(bodiless));
    EXPECT_FALSE(tells(ExpectedRequest().withoutBody()));
}

TEST(ExpectedRequest, ComparesEveryPartOfAMultipartBody) {
    const auto parts = [](const std::string& name, const std::string& data) {
        return MultipartBody().withPart(DataPart(PartHeader(name), data));
    };
    const RecordedRequest request{HttpMethod::POST, FILE_URL, {}, {}, parts("a", "1"), {}};
    const RecordedRequest bodiless{HttpMethod::POST, FILE_URL, {}, {}, {}, {}};

    EXPECT_TRUE(ExpectedRequest().withParts(parts("a", "1")).isMetBy(request));
    EXPECT_FALSE(ExpectedRequest().withParts(parts("b", "1")).isMetBy(request));
    EXPECT_FALSE(ExpectedRequest().withParts(parts("a", "2")).isMetBy(request));
    EXPECT_FALSE(ExpectedRequest().withParts(MultipartBody()).isMetBy(request));
    EXPECT_FALSE(ExpectedRequest().withParts(MultipartBody()).isMetBy(bodiless));
    EXPECT_FALSE(ExpectedRequest().withoutBody().isMetBy(request));
    EXPECT_THAT(ExpectedRequest().withParts(parts("pin", "geheim")).describe(),
                AllOf(HasSubstr("these parts: "), HasSubstr("pin"), Not(HasSubstr("geheim"))));
}

TEST(ExpectedRequest, SaysWhereNothingButWhatIsBlankedDiffers) {
    const auto parts = [](const std::string& data) {
        return MultipartBody().withPart(DataPart(PartHeader("pin"), data));
    };
    const auto expected = ExpectedRequest()
                              .withUrl("http://host/?token=right")
                              .withHeader("Authorization", "right")
                              .withHeaders({{"Authorization", "right"}})
                              .withBody("token=right")
                              .withParts(parts("right"));
    const auto request = [&](const std::string& token, const std::string& more) {
        return RecordedRequest{HttpMethod::POST,
                               "http://host/?token=" + token + more,
                               {{"Authorization" + more, token}},
                               "token=" + token + more,
                               parts(token).withPart(DataPart(PartHeader("more"), more)),
                               {}};
    };
    RecordedRequest other = request("wrong", "");
    other.multipartBody = parts("wrong");
    const std::string said = ", which differs in what is blanked\n";

    const std::string text = expected.describeAgainst(other);
    EXPECT_THAT(text, HasSubstr("! URL http://host/?token=***" + said));
    EXPECT_THAT(text, HasSubstr("! header Authorization: ***" + said));
    EXPECT_THAT(text, HasSubstr("! exactly these headers:\nAuthorization: ***" + said));
    EXPECT_THAT(text, HasSubstr("! body \"token=***\"" + said));
    EXPECT_EQ(std::count(text.begin(), text.end(), '!'), 5);
    std::size_t count = 0;
    for (auto at = text.find(said); at != std::string::npos; at = text.find(said, at + 1)) ++count;
    EXPECT_EQ(count, 5u) << text;
    EXPECT_THAT(expected.describeAgainst(request("wrong", "&a=b")), Not(HasSubstr("differs")));
    other = request("right", "");
    other.multipartBody = parts("right");
    EXPECT_THAT(expected.describeAgainst(other), Not(AnyOf(HasSubstr("differs"), HasSubstr("!"))));
}

TEST(ExpectedRequest, AsksWhateverATestWantsToKnow) {
    const auto expected = ExpectedRequest().withCondition(
        "a long URL", [](const RecordedRequest& request) { return request.url.size() > 20; });
    const RecordedRequest request{HttpMethod::GET, FILE_URL, {}, {}, {}, {}};

    EXPECT_FALSE(expected.isMetBy(request));
    EXPECT_EQ(expected.describeAgainst(request), "! a long URL\n");
}

TEST(ExpectedRequest, DescribesABodyAsTextOfBoundedLength) {
    EXPECT_EQ(ExpectedRequest().withBody(std::string("a\0\xff", 3)).describe(),
              "  body \"a\\x00\\xff\"\n");
    EXPECT_EQ(ExpectedRequest().withBody(std::string(1025, 'x')).describe(),
              "  body \"" + std::string(1024, 'x') + "... (1025 bytes)\"\n");
}

TEST(ExpectedRequest, DescribesWhateverItAsksForAsPrintableText) {
    const std::string clears = "\x1b[2J";
    const ExpectedRequest request = ExpectedRequest()
                                        .withUrl("http://host/" + clears)
                                        .withHeader("A" + clears, clears)
                                        .withoutHeader(clears)
                                        .withCondition(clears, [](const auto&) { return true; });

    EXPECT_EQ(request.describe(),
              "  URL http://host/\\x1b[2J\n"
              "  header A\\x1b[2J: \\x1b[2J\n"
              "  no header \\x1b[2J\n"
              "  \\x1b[2J\n");
}

TEST(ScriptedHttpClient, CountsTheExchangesThatAreLeft) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 2).expect({}, ScriptedAnswer(200), 0);
    EXPECT_EQ(client.remaining(), 2u);

    client.makeRequest(get());
    EXPECT_EQ(client.remaining(), 1u);

    client.makeRequest(get());
    EXPECT_EQ(client.remaining(), 0u);
}

TEST(ScriptedAnswer, RefusesChunksOfNoSize) {
    EXPECT_THAT([] { ScriptedAnswer(200).withBody("text", 0); },
                ThrowsMessage<std::logic_error>("The size of a chunk must not be 0."));
}

TEST(ScriptedHttpClient, HandsDelaysToTheHookInPlaceOfWaiting) {
    ScriptedHttpClient client;
    std::vector<milliseconds> delays;
    client.setDelayHook([&](milliseconds delay) { delays.push_back(delay); });
    client.expect({}, ScriptedAnswer(200).withDelay(milliseconds(3600000)))
        .expect({}, ScriptedAnswer(200));

    client.makeRequest(get());
    client.makeRequest(get());

    EXPECT_THAT(delays, ElementsAre(milliseconds(3600000)));
}

TEST(ScriptedHttpClient, WaitsForADelayWithoutAHook) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withDelay(milliseconds(20)));
    const auto start = std::chrono::steady_clock::now();

    client.makeRequest(get());

    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
}

TEST(ScriptedHttpClient, CompletesOnTheCallingThreadBeforeItReturns) {
    ScriptedHttpClient client(Completion::ON_CALLING_THREAD);
    client.expect({}, ScriptedAnswer(200));
    std::thread::id completedOn;

    client.makeAsyncRequest(get(), [&](HttpRequest, HttpResponse, const std::exception_ptr&) {
        completedOn = std::this_thread::get_id();
    });

    EXPECT_EQ(completedOn, std::this_thread::get_id());
}

TEST(ScriptedHttpClient, CompletesOnAThreadOfItsOwn) {
    std::thread::id completedOn;
    {
        ScriptedHttpClient client(Completion::ON_OWN_THREAD);
        client.expect({}, ScriptedAnswer(500).withBody("x")).expect({}, ScriptedAnswer(200), 2);
        std::promise<std::thread::id> completed;
        client.makeAsyncRequest(get(), [&](HttpRequest, HttpResponse, const std::exception_ptr&) {
            completed.set_value(std::this_thread::get_id());
        });
        completedOn = completed.get_future().get();
        EXPECT_THAT(client.makeAsyncRequest(get()).get(), IsStatus(200));
        client.verify();
    }

    EXPECT_NE(completedOn, std::this_thread::get_id());
    EXPECT_NE(completedOn, std::thread::id());
}

TEST(ScriptedHttpClient, CompletesWhenItIsTold) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(201)).expect({}, ScriptedAnswer(202));
    Outcomes outcomes;
    client.makeAsyncRequest(get(), outcomes.handler());
    client.makeAsyncRequest(get(), outcomes.handler());

    EXPECT_EQ(client.pending(), 2u);
    EXPECT_THAT(outcomes.texts, ElementsAre());
    client.completeNext();
    EXPECT_EQ(client.pending(), 1u);
    EXPECT_THAT(outcomes.texts, ElementsAre("201"));
    client.completeNext();
    EXPECT_THAT(outcomes.texts, ElementsAre("201", "202"));
    EXPECT_THAT([&] { client.completeNext(); },
                ThrowsMessage<std::logic_error>("No exchange is pending."));
}

TEST(ScriptedHttpClient, CompletesFurtherAttemptsToo) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(500), 2).expect({}, ScriptedAnswer(200));
    Outcomes outcomes;
    client.makeAsyncRequest(get(), outcomes.handler());

    client.completeAll();

    EXPECT_THAT(outcomes.texts, ElementsAre("200"));
    EXPECT_EQ(client.requests().size(), 3u);
}

TEST(ScriptedHttpClient, DropsTheOldestPendingExchange) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(201)).expect({}, ScriptedAnswer(202));
    std::future<HttpResponse> dropped = client.makeAsyncRequest(get());
    std::future<HttpResponse> kept = client.makeAsyncRequest(get());

    client.dropNext();
    EXPECT_THAT([&] { dropped.get(); }, testing::Throws<std::future_error>());
    client.completeNext();
    EXPECT_THAT(kept.get(), IsStatus(202));

    EXPECT_THAT([&] { client.dropNext(); },
                ThrowsMessage<std::logic_error>("No exchange is pending."));
}

TEST(ScriptedHttpClient, LetsATestWaitForARequestOfAnotherThread) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200));
    EXPECT_FALSE(client.waitForPending(1, milliseconds(0)));

    std::thread other([&] { EXPECT_THAT(client.makeAsyncRequest(get()).get(), IsStatus(200)); });

    EXPECT_TRUE(client.waitForPending(1, milliseconds(60000)));
    client.completeNext();
    other.join();
}

TEST(ScriptedHttpClient, CancelsWhatIsPendingWhenItIsDestroyed) {
    Outcomes outcomes;
    {
        ScriptedHttpClient client(Completion::WHEN_TOLD);
        client.expect({}, ScriptedAnswer(200), 2);
        client.makeAsyncRequest(get(), outcomes.handler());
        client.makeAsyncRequest(get(), outcomes.handler());
    }

    EXPECT_THAT(outcomes.texts, ElementsAre("Request cancelled", "Request cancelled"));
}

TEST(ScriptedHttpClient, HandsNoDelayToTheHookWhileItIsDestroyed) {
    int delays = 0;
    {
        ScriptedHttpClient client(Completion::WHEN_TOLD);
        client.setDelayHook([&](milliseconds) { ++delays; });
        client.expect({}, ScriptedAnswer(200).withDelay(milliseconds(1)));
        client.makeAsyncRequest(get());
    }

    EXPECT_EQ(delays, 0);
}

TEST(ScriptedHttpClient, CutsADelayShortWhenItIsDestroyed) {
    std::future<HttpResponse> response;
    {
        ScriptedHttpClient client(Completion::ON_OWN_THREAD);
        client.expect({}, ScriptedAnswer(200).withDelay(milliseconds(3600000)));
        response = client.makeAsyncRequest(get());
    }

    EXPECT_THROW(response.get(), HttpRequestCancelledException);
}

TEST(ScriptedHttpClient, RefusesAFurtherAttemptWhileItIsDestroyed) {
    for (const Completion completion : {Completion::WHEN_TOLD, Completion::ON_OWN_THREAD}) {
        std::future<HttpResponse> response;
        {
            ScriptedHttpClient client(completion);
            client.setClientConfiguration(attempts(5));
            client.setUnmetAllowed(true);
            client.expect({}, ScriptedAnswer(500).withDelay(milliseconds(3600000)), 5);
            response = client.makeAsyncRequest(get());
        }

        EXPECT_THAT([&] { response.get(); }, testing::Throws<std::future_error>());
    }
}

TEST(ScriptedHttpClient, CountsNoAttemptThatItRefusesWhileItIsDestroyed) {
    const auto startAndLeave = [](ScriptedHttpClient& client) {
        client.setClientConfiguration(attempts(5));
        client.makeAsyncRequest(get());
    };

    EXPECT_THAT(lastWords(startAndLeave, Completion::WHEN_TOLD),
                AllOf(StartsWith("Expected 1 more time"), HasSubstr("\n1: GET"),
                      Not(HasSubstr("\n2: GET"))));
}

TEST(ScriptedHttpClient, ServesManyThreadsAtOnce) {
    constexpr int THREADS = 8;
    constexpr int REQUESTS = 50;
    ScriptedHttpClient client(Completion::ON_OWN_THREAD);
    client.expect(expectedGet(), ScriptedAnswer(200).withBody("text"), THREADS * REQUESTS);
    std::vector<std::thread> threads;

    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&client, i] {
            for (int j = 0; j < REQUESTS; ++j) {
                if (i % 2 == 0) {
                    EXPECT_THAT(client.makeRequest(get()), BodyIs("text"));
                } else {
                    EXPECT_THAT(client.makeAsyncRequest(get()).get(), BodyIs("text"));
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    client.verify();
    EXPECT_EQ(client.requests().size(), static_cast<std::size_t>(THREADS * REQUESTS));
}

}  // namespace
}  // namespace tavrin::httpclient_testing
