#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/logging.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/grouping_locale.h"
#include "support/log_capture.h"
#include "support/owning_stream.h"
#include "support/road.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::BodyIs;
using httpclient_testing::HasHeader;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using httpclient_testing::wireText;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const HttpRequestFailedException CUT("cut");

LogRecord decision(const std::string& text) { return {LOG_CHANNEL, LOG_DECISION, text}; }

LogRecord requesting(const std::string& range) {
    return decision(
        "Requesting a byte range starting from where last request left off up to the end: " +
        range);
}

// An answer that breaks off when its body was written.
ScriptedAnswer broken(int code, const std::string& body) {
    return ScriptedAnswer(code).withBody(body).withFailure(CUT);
}

ScriptedAnswer brokenResumable(const std::string& body) {
    return broken(200, body).withHeader("Accept-Ranges", "bytes");
}

// The buffer of a body that keeps only the number of bytes written to it, which starts at any
// number.
struct CountingBuffer : std::streambuf {
    explicit CountingBuffer(std::int64_t start) : count(start) {}

    std::streamsize xsputn(const char*, std::streamsize length) override {
        count += length;
        return length;
    }
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode) override {
        return offset == 0 && from == std::ios::cur ? pos_type(count) : pos_type(-1);
    }
    int sync() override {
        ++flushes;
        return 0;
    }

    std::int64_t count;
    int flushes = 0;
};

using CountingStream = test::OwningStream<std::iostream, CountingBuffer>;

// The buffer of a body that can tell no position, such as a pipe.
struct PipeBuffer : std::streambuf {
    std::streamsize xsputn(const char*, std::streamsize length) override { return length; }
};

using PipeStream = test::OwningStream<std::iostream, PipeBuffer>;

// What both roads have in common: two or more attempts of one request, with or without resuming.
class Retry : public testing::TestWithParam<Road> {
protected:
    ScriptedHttpClient client;

    HttpResponse send(HttpRequest request) {
        return test::send(client, std::move(request), GetParam());
    }

    void makeAttempts(int count, bool resume) {
        client.setClientConfiguration(attempts(count).withResumeOnRetry(resume));
    }

    // Makes the next attempt show what it starts with, as text, and answers it.
    void expectShowing(std::string& fresh, ScriptedAnswer answer = ScriptedAnswer(200)) {
        client.expect({}, answer.withAction([&fresh](HttpRequest&, HttpResponse& response) {
            fresh = wireText(response);
        }));
    }
};

class Resuming : public Retry {
protected:
    void SetUp() override { makeAttempts(2, true); }
};

ON_BOTH_ROADS(Retry);
ON_BOTH_ROADS(Resuming);

// ---- every further attempt

TEST_P(Retry, SendsABodyAgainFromItsStart) {
    makeAttempts(3, false);
    client.expect({}, ScriptedAnswer(503), 3);

    send(put("the whole body"));

    EXPECT_THAT(client.requests(), SizeIs(3));
    EXPECT_THAT(client.requests(), Each(BodyIs("the whole body")));
}

TEST_P(Retry, SendsABodyAgainThoughItsStreamFailed) {
    makeAttempts(2, false);
    const auto breakStream = [](HttpRequest& request, HttpResponse&) {
        request.getRequestBody().setstate(std::ios::eofbit | std::ios::failbit | std::ios::badbit);
    };
    client.expect({}, ScriptedAnswer(503).withAction(breakStream), 2);

    send(put("the whole body"));

    EXPECT_THAT(client.requests(), ElementsAre(BodyIs("the whole body"), BodyIs("the whole body")));
}

TEST_P(Retry, SendsABodyAgainOfWhichAPartWasRead) {
    makeAttempts(2, false);
    const auto leaveInTheMiddle = [](HttpRequest& request, HttpResponse&) {
        request.getRequestBody().clear();
        request.getRequestBody().seekg(4);
    };
    client.expect({}, ScriptedAnswer(503).withAction(leaveInTheMiddle), 2);

    send(put("the whole body"));

    EXPECT_THAT(client.requests(), ElementsAre(BodyIs("the whole body"), BodyIs("the whole body")));
}

TEST_P(Retry, SendsABodyAgainThoughNoResponseCame) {
    makeAttempts(2, false);
    client.expect({}, ScriptedAnswer::failure(CUT)).expect({}, ScriptedAnswer(200));

    send(put("the whole body"));

    EXPECT_THAT(client.requests(), Each(BodyIs("the whole body")));
}

TEST_P(Retry, StartsWithAResponseThatWasNotMade) {
    makeAttempts(2, false);
    std::string fresh;
    client.expect({}, ScriptedAnswer(503, "Busy").withHeader("A", "b").withBody("error page"));
    expectShowing(fresh);

    send(get());

    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\n\n");
}

TEST_P(Retry, LeavesTheTransactionReportOfTheAnswerBefore) {
    makeAttempts(2, false);
    long redirects = 0;
    client.expect({}, ScriptedAnswer(503).withAction([](HttpRequest&, HttpResponse& response) {
        response.setTransactionReport(TransactionReport(3, URL("http://host/there")));
    }));
    client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest&, HttpResponse& response) {
        redirects = response.getTransactionReport().redirectCount();
    }));

    send(get());

    EXPECT_EQ(redirects, 3);
}

TEST_P(Retry, RunsTheCallbackBeforeBothChangesOfTheResponse) {
    makeAttempts(2, false);
    int changes = 0;
    client.expect({}, ScriptedAnswer(503));
    client.expect({}, ScriptedAnswer(200).withAction(
                          [&](HttpRequest&, HttpResponse&) { EXPECT_EQ(changes, 4); }));
    HttpRequest request = get();
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });

    send(std::move(request));

    EXPECT_EQ(changes, 6);  // two for each answer, and two in between
}

TEST_P(Retry, ChangesNothingElseIfNoResponseCame) {
    makeAttempts(2, true);
    std::string fresh;
    int changes = 0;
    int streams = 0;
    std::int64_t progress = 0;
    client.expect(
        {}, ScriptedAnswer::failure(CUT).withAction([&](HttpRequest&, HttpResponse& response) {
            response.setHeaders({{"Accept-Ranges", "bytes"}});
            response.getResponseBody() << "stays";
            changes = 0;
        }));
    expectShowing(fresh, ScriptedAnswer(200).withBody("text"));
    HttpRequest request = get({{"Range", "bytes=7-"}});
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    request.setResponseStreamFactory([&](auto, const auto&, const auto&) {
        ++streams;
        return std::make_unique<std::stringstream>();
    });
    request.setProgressCallback([&](const Progress& now) {
        progress = now.downloadNow;
        return ProgressResult::CONTINUE;
    });
    LogCapture log(LOG_DECISION);

    const HttpResponse response = send(std::move(request));

    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\nAccept-Ranges: bytes\n\nstays");
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(streams, 1);
    EXPECT_EQ(progress, 4);
    EXPECT_THAT(response, BodyIs("staystext"));
    EXPECT_THAT(client.requests(), Each(HasHeader("Range", "bytes=7-")));
    EXPECT_THAT(log.records(), ElementsAre(decision("Request not made.")));
}

TEST_P(Retry, ResetsTheBodyUnlessResumingIsOn) {
    makeAttempts(2, false);
    client.expect({}, brokenResumable("first half"))
        .expect({}, ScriptedAnswer(200).withBody("all"));
    LogCapture log(LOG_DECISION);

    EXPECT_THAT(send(get()), BodyIs("all"));

    EXPECT_THAT(client.requests(), Each(Not(HasHeader("Range"))));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(Retry, LeavesARangeAloneUnlessResumingIsOn) {
    makeAttempts(2, false);
    client.expect({}, brokenResumable("first half"))
        .expect({}, ScriptedAnswer(206).withBody("all"));

    send(get({{"Range", "bytes=100-199"}}));

    EXPECT_THAT(client.requests(), Each(HasHeader("Range", "bytes=100-199")));
}

TEST_P(Retry, ShowsTheFactoryTheFailedAnswerWhenItResets) {
    makeAttempts(2, false);
    std::vector<std::string> seen;
    client.expect({}, ScriptedAnswer(503, "Busy").withHeader("A", "b").withBody("error page"))
        .expect({}, ScriptedAnswer(200, "OK").withBody("text"));
    HttpRequest request = get();
    request.setResponseStreamFactory(
        [&](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
            seen.push_back(to_string(code) + " " + reason + " " + wireText(headers));
            return std::make_unique<std::stringstream>();
        });

    send(std::move(request));

    EXPECT_THAT(seen, ElementsAre("503 Busy A: b\n", "503 Busy A: b\n"));
}

TEST_P(Retry, GoesBackToWhereAStreamOfTheApplicationBegan) {
    makeAttempts(2, false);
    client.expect({}, ScriptedAnswer(503).withBody("error"))
        .expect({}, ScriptedAnswer(200).withBody("fine!"));
    HttpRequest request = get();
    request.setResponseStreamFactory([](auto, const auto&, const auto&) {
        auto stream = std::make_unique<std::stringstream>();
        *stream << "prefix ";
        return stream;
    });

    EXPECT_THAT(send(std::move(request)), BodyIs("prefix fine!"));
}

// ---- an answer of 416

TEST_P(Retry, StartsOverWhenTheRangeIsNotSatisfiable) {
    for (const bool resume : {false, true}) {
        ScriptedHttpClient fresh;
        fresh.setClientConfiguration(attempts(2).withResumeOnRetry(resume));
        fresh.expect({}, ScriptedAnswer(416).withHeader("Accept-Ranges", "bytes").withBody("error"))
            .expect({}, ScriptedAnswer(200).withBody("all"));
        LogCapture log(LOG_DECISION);
        HttpRequest request = get({{"range", "bytes=7-"}, {"Range", "bytes=8-"}, {"A", "b"}});
        request.setQueryParameters({{"c", "d"}});

        EXPECT_THAT(test::send(fresh, std::move(request), GetParam()), BodyIs("all"));

        EXPECT_EQ(wireText(fresh.requests().back().headers), "A: b\n");
        EXPECT_THAT(log.records(),
                    ElementsAre(decision("Server responded with Range not satisfiable for "
                                         "http://host/file?c=d for request with Range: bytes=7-")));
    }
}

TEST_P(Retry, SaysThatThereWasNoRange) {
    makeAttempts(2, false);
    client.expect({}, ScriptedAnswer(416)).expect({}, ScriptedAnswer(200));
    LogCapture log(LOG_DECISION);

    send(get());

    EXPECT_THAT(log.records(),
                ElementsAre(decision("Server responded with Range not satisfiable for "
                                     "http://host/file for request with Range: NOT SET")));
}

TEST_P(Retry, StartsFromAnUnmadeResponseAfterAnUnsatisfiableRange) {
    makeAttempts(2, true);
    std::string fresh;
    client.expect({}, ScriptedAnswer(416, "Range").withHeader("A", "b").withBody("error"));
    expectShowing(fresh);

    send(get({{"Range", "bytes=7-"}}));

    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\n\n");
}

// ---- resuming

TEST_P(Resuming, AsksForTheRestAndAppendsIt) {
    const std::string body(1000, 'x');
    client.expect({}, brokenResumable(body)).expect({}, ScriptedAnswer(206).withBody("the rest"));
    LogCapture log(LOG_DECISION);

    const HttpResponse response = send(get());

    EXPECT_THAT(response, BodyIs(body + "the rest"));
    EXPECT_THAT(client.requests(),
                ElementsAre(Not(HasHeader("Range")), HasHeader("Range", "bytes=1000-")));
    EXPECT_THAT(log.records(), ElementsAre(requesting("bytes=1000-")));
}

TEST_P(Resuming, StartsFromAnUnmadeResponseThatKeepsItsBody) {
    std::string fresh;
    client.expect({}, brokenResumable("first half"));
    expectShowing(fresh);

    send(get());

    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\n\nfirst half");
}

TEST_P(Resuming, HappensAfterAnyCodeThatCameWithTheHeader) {
    // Whether an error page is a prefix is for the transport to know.
    client.expect({}, ScriptedAnswer(503).withHeader("Accept-Ranges", "bytes").withBody("busy"))
        .expect({}, ScriptedAnswer(206));

    send(get());

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=4-"));
}

TEST_P(Resuming, HappensWhateverTheMethod) {
    client.expect({}, brokenResumable("12345")).expect({}, ScriptedAnswer(206));

    send(put("query"));

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=5-"));
}

TEST_P(Resuming, AsksForEverythingIfNothingCame) {
    client.expect({}, brokenResumable("")).expect({}, ScriptedAnswer(206));

    send(get());

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=0-"));
}

TEST_P(Resuming, CountsFromTheStartOfTheStreamNotOfTheBody) {
    client.expect({}, brokenResumable("12345")).expect({}, ScriptedAnswer(206));
    HttpRequest request = get();
    request.setResponseStreamFactory([](auto, const auto&, const auto&) {
        auto stream = std::make_unique<std::stringstream>();
        *stream << "0123456789";
        return stream;
    });

    send(std::move(request));

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=15-"));
}

TEST_P(Resuming, GoesByTheStreamAndNotByTheContentLength) {
    client.expect({}, brokenResumable("12345").withHeader("Content-Length", "1000"))
        .expect({}, ScriptedAnswer(206));

    send(get());

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=5-"));
}

TEST_P(Resuming, KeepsTheStreamAndFlushesIt) {
    int streams = 0;
    std::vector<int> flushes;
    const auto countFlushes = [&](HttpRequest&, HttpResponse& response) {
        auto& stream = dynamic_cast<CountingStream&>(response.getResponseBody());
        flushes.push_back(stream.buffer().flushes);
    };
    client.expect({}, brokenResumable("12345").withAction(countFlushes))
        .expect({}, ScriptedAnswer(206).withAction(countFlushes));
    HttpRequest request = get();
    request.setResponseStreamFactory([&](auto, const auto&, const auto&) {
        ++streams;
        return std::make_unique<CountingStream>(0);
    });

    send(std::move(request));

    EXPECT_EQ(streams, 1);
    EXPECT_THAT(flushes, ElementsAre(0, 1));
}

TEST_P(Resuming, CountsBeyondFourGigabytes) {
    static constexpr std::int64_t START = std::int64_t(5) << 30;
    std::int64_t progress = 0;
    client.expect({}, brokenResumable("12345")).expect({}, ScriptedAnswer(206).withBody("rest"));
    HttpRequest request = get();
    request.setResponseStreamFactory(
        [](auto, const auto&, const auto&) { return std::make_unique<CountingStream>(START); });
    request.setProgressCallback([&](const Progress& now) {
        progress = now.downloadNow;
        return ProgressResult::CONTINUE;
    });

    send(std::move(request));

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=5368709125-"));
    EXPECT_EQ(progress, START + 9);
}

TEST_P(Resuming, ResetsTheBodyUnlessTheServerAcceptsExactlyBytes) {
    for (const char* value : {"none", "Bytes", "BYTES", " bytes", "bytes ", "bytes, items", ""}) {
        ScriptedHttpClient other;
        other.setClientConfiguration(attempts(2).withResumeOnRetry(true));
        other.expect({}, broken(200, "first half").withHeader("Accept-Ranges", value))
            .expect({}, ScriptedAnswer(200).withBody("all"));
        LogCapture log(LOG_DECISION);

        EXPECT_THAT(test::send(other, get(), GetParam()), BodyIs("all")) << value;

        EXPECT_THAT(other.requests().back(), Not(HasHeader("Range"))) << value;
        EXPECT_THAT(log.records(), IsEmpty());
    }
}

TEST_P(Resuming, ResetsTheBodyIfTheServerSaysNothingOfRanges) {
    std::string fresh;
    client.expect({}, broken(200, "first half"));
    expectShowing(fresh, ScriptedAnswer(200).withBody("all"));

    EXPECT_THAT(send(get()), BodyIs("all"));

    EXPECT_THAT(client.requests().back(), Not(HasHeader("Range")));
    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\n\n");
}

TEST_P(Resuming, FindsTheHeaderInAnyLetterCase) {
    client.expect({}, broken(200, "12345").withHeader("accept-RANGES", "bytes"))
        .expect({}, ScriptedAnswer(206));

    send(get());

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=5-"));
}

TEST_P(Resuming, LetsTheFirstOfSeveralHeadersCount) {
    for (const bool bytesFirst : {true, false}) {
        ScriptedHttpClient other;
        other.setClientConfiguration(attempts(2).withResumeOnRetry(true));
        other
            .expect({}, broken(200, "12345")
                            .withHeader("Accept-Ranges", bytesFirst ? "bytes" : "none")
                            .withHeader("Accept-Ranges", bytesFirst ? "none" : "bytes"))
            .expect({}, ScriptedAnswer(206));

        test::send(other, get(), GetParam());

        EXPECT_EQ(other.requests().back().headers.hasHeader("Range"), bytesFirst);
    }
}

TEST_P(Resuming, ReplacesARangeOfTheApplication) {
    client.expect({}, brokenResumable("12345")).expect({}, ScriptedAnswer(206));

    send(get({{"range", "bytes=100-199"}, {"A", "b"}, {"Range", "second"}}));

    EXPECT_EQ(wireText(client.requests().back().headers), "range: bytes=5-\nA: b\nRange: second\n");
}

TEST_P(Resuming, LeavesARangeOfAnEarlierResumeWhenItResets) {
    // The transport makes the wire right.
    makeAttempts(3, true);
    client.expect({}, brokenResumable("12345"))
        .expect({}, ScriptedAnswer(503).withBody("error page"))
        .expect({}, ScriptedAnswer(206).withBody("tail"));

    EXPECT_THAT(send(get()), BodyIs("tail"));

    EXPECT_THAT(client.requests(),
                ElementsAre(Not(HasHeader("Range")), HasHeader("Range", "bytes=5-"),
                            HasHeader("Range", "bytes=5-")));
}

TEST_P(Resuming, GoesOnFromEachNewPosition) {
    makeAttempts(4, true);
    client.expect({}, brokenResumable("one "))
        .expect({}, broken(206, "two ").withHeader("Accept-Ranges", "bytes"))
        .expect({}, broken(206, "three ").withHeader("Accept-Ranges", "bytes"))
        .expect({}, ScriptedAnswer(206).withBody("four"));
    LogCapture log(LOG_DECISION);

    EXPECT_THAT(send(get()), BodyIs("one two three four"));

    EXPECT_THAT(client.requests(),
                ElementsAre(Not(HasHeader("Range")), HasHeader("Range", "bytes=4-"),
                            HasHeader("Range", "bytes=8-"), HasHeader("Range", "bytes=14-")));
    EXPECT_THAT(log.records(), ElementsAre(requesting("bytes=4-"), requesting("bytes=8-"),
                                           requesting("bytes=14-")));
}

TEST_P(Resuming, StartsOverWhenTheRestIsNotSatisfiable) {
    makeAttempts(3, true);
    client.expect({}, brokenResumable("first half"))
        .expect({}, ScriptedAnswer(416).withBody("error page"))
        .expect({}, ScriptedAnswer(200).withBody("all"));
    LogCapture log(LOG_DECISION);

    EXPECT_THAT(send(get()), BodyIs("all"));

    EXPECT_THAT(client.requests(),
                ElementsAre(Not(HasHeader("Range")), HasHeader("Range", "bytes=10-"),
                            Not(HasHeader("Range"))));
    EXPECT_THAT(log.records(),
                ElementsAre(requesting("bytes=10-"),
                            decision("Server responded with Range not satisfiable for "
                                     "http://host/file for request with Range: bytes=10-")));
}

TEST_P(Resuming, NeverAsksForARangeFromAPositionThatCannotBeTold) {
    const std::function<std::unique_ptr<std::iostream>()> streams[] = {
        [] { return std::make_unique<PipeStream>(); },
        [] { return std::make_unique<CountingStream>(-1); },
        [] {
            auto failed = std::make_unique<std::stringstream>();
            failed->setstate(std::ios::failbit);
            return failed;
        },
    };
    for (const auto& makeStream : streams) {
        for (const HttpHeaders& headers : {HttpHeaders(), HttpHeaders{{"Range", "bytes=7-"}}}) {
            ScriptedHttpClient other;
            other.setClientConfiguration(attempts(2).withResumeOnRetry(true));
            other.expect(
                {}, brokenResumable("").withAction(
                        [](HttpRequest&, HttpResponse& response) { response.getResponseBody(); }));
            other.expect({}, ScriptedAnswer(200));
            bool adapted = false;
            HttpRequest request = get(headers);
            request.setResponseStreamFactory(
                [&](auto, const auto&, const auto&) { return makeStream(); });
            request.setProgressCallback([&](const Progress& now) {
                adapted = now.downloadNow < 1;
                return ProgressResult::CONTINUE;
            });
            LogCapture log(LOG_DECISION);

            test::send(other, std::move(request), GetParam());

            EXPECT_EQ(wireText(other.requests().back().headers), wireText(headers));
            EXPECT_FALSE(adapted);
            EXPECT_THAT(log.records(), IsEmpty());
        }
    }
}

TEST_P(Resuming, MakesTheStreamIfThereIsNoneYet) {
    int streams = 0;
    client.expect({}, ScriptedAnswer(200).withHeader("Accept-Ranges", "bytes").withFailure(CUT))
        .expect({}, ScriptedAnswer(206));
    HttpRequest request = get();
    request.setResponseStreamFactory([&](auto, const auto&, const auto&) {
        ++streams;
        return std::make_unique<CountingStream>(12);
    });

    send(std::move(request));

    EXPECT_EQ(streams, 1);
    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=12-"));
}

TEST_P(Resuming, WritesPlainDigitsWhateverTheGlobalLocale) {
    const GroupingLocale locale;
    client.expect({}, brokenResumable(std::string(12345, 'x'))).expect({}, ScriptedAnswer(206));
    LogCapture log(LOG_DECISION);

    send(get());

    EXPECT_THAT(client.requests().back(), HasHeader("Range", "bytes=12345-"));
    EXPECT_THAT(log.records(), ElementsAre(requesting("bytes=12345-")));
}

// ---- progress of a resumed transfer

// Keeps what a progress callback was told.
struct ProgressLog {
    std::vector<std::vector<std::int64_t>> seen;

    ProgressCallback callback() {
        return [this](const Progress& now) {
            seen.push_back({now.downloadTotal, now.downloadNow, now.uploadTotal, now.uploadNow});
            return ProgressResult::CONTINUE;
        };
    }
};

// Tells the request's progress callback these four numbers, and keeps what it answers.
std::function<void(HttpRequest&, HttpResponse&)> reporting(const Progress& progress,
                                                           ProgressResult& result) {
    return [progress, &result](HttpRequest& request, HttpResponse&) {
        result = request.getProgressCallback()(progress);
    };
}

TEST_P(Resuming, RaisesTheProgressOfTheDownloadAlone) {
    ProgressLog progress;
    ProgressResult result{};
    client.expect({}, brokenResumable(std::string(1000, 'x')))
        .expect({}, ScriptedAnswer(206).withAction(reporting({500, 20, 30, 4}, result)));
    HttpRequest request = get();
    request.setProgressCallback(progress.callback());

    send(std::move(request));

    EXPECT_THAT(progress.seen,
                ElementsAre(ElementsAre(1000, 1000, 0, 0), ElementsAre(1500, 1020, 30, 4)));
    EXPECT_EQ(result, ProgressResult::CONTINUE);
}

TEST_P(Resuming, RaisesATotalThatIsNotKnownToo) {
    ProgressLog progress;
    ProgressResult result{};
    client.expect({}, brokenResumable("12345"))
        .expect({}, ScriptedAnswer(206).withAction(reporting({0, 2, 0, 0}, result)));
    HttpRequest request = get();
    request.setProgressCallback(progress.callback());

    send(std::move(request));

    EXPECT_THAT(progress.seen, ElementsAre(ElementsAre(5, 5, 0, 0), ElementsAre(5, 7, 0, 0)));
}

TEST_P(Resuming, PassesTheAnswerOfTheCallbackOn) {
    ProgressResult result = ProgressResult::CONTINUE;
    client.expect({}, brokenResumable(""))
        .expect({}, ScriptedAnswer(206).withAction(reporting({}, result)));
    HttpRequest request = get();
    request.setProgressCallback([](const Progress&) { return ProgressResult::CANCEL; });

    send(std::move(request));

    EXPECT_EQ(result, ProgressResult::CANCEL);
}

TEST_P(Resuming, GivesNoProgressCallbackToARequestWithoutOne) {
    bool has = true;
    client.expect({}, brokenResumable("12345"))
        .expect({}, ScriptedAnswer(206).withAction([&](HttpRequest& request, HttpResponse&) {
            has = request.hasProgressCallback();
        }));

    send(get());

    EXPECT_FALSE(has);
}

TEST_P(Resuming, AddsUpTheOffsetsOfSuccessiveResumes) {
    makeAttempts(3, true);
    ProgressLog progress;
    ProgressResult result{};
    client.expect({}, brokenResumable(std::string(10, 'x')))
        .expect({}, broken(206, "12345").withHeader("Accept-Ranges", "bytes"))
        .expect({}, ScriptedAnswer(206).withAction(reporting({100, 1, 0, 0}, result)));
    HttpRequest request = get();
    request.setProgressCallback(progress.callback());

    send(std::move(request));

    EXPECT_THAT(progress.seen, ElementsAre(ElementsAre(10, 10, 0, 0), ElementsAre(15, 15, 0, 0),
                                           ElementsAre(125, 26, 0, 0)));
}

TEST_P(Resuming, KeepsRaisingTheProgressWhenItStartsOver) {
    makeAttempts(3, true);
    ProgressLog progress;
    ProgressResult result{};
    client.expect({}, brokenResumable(std::string(10, 'x')))
        .expect({}, ScriptedAnswer(416))
        .expect({}, ScriptedAnswer(200).withAction(reporting({100, 1, 0, 0}, result)));
    HttpRequest request = get();
    request.setProgressCallback(progress.callback());

    send(std::move(request));

    EXPECT_THAT(progress.seen, ElementsAre(ElementsAre(10, 10, 0, 0), ElementsAre(110, 11, 0, 0)));
}

TEST_P(Retry, RaisesNoProgressUnlessItResumes) {
    makeAttempts(2, false);
    ProgressLog progress;
    client.expect({}, brokenResumable("1234567890")).expect({}, ScriptedAnswer(200).withBody("ab"));
    HttpRequest request = get();
    request.setProgressCallback(progress.callback());

    send(std::move(request));

    EXPECT_THAT(progress.seen, ElementsAre(ElementsAre(10, 10, 0, 0), ElementsAre(2, 2, 0, 0)));
}

// ---- what fails while an attempt is prepared

TEST(FailingPreparation, LeavesTheSynchronousRequestAndTheClientUsable) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer(503).withBody("error page"), 2)
        .expect({}, ScriptedAnswer(503), 2);
    HttpRequest withFactory = get();
    withFactory.setResponseStreamFactory(
        [calls = 0](auto, const auto&, const auto&) mutable -> std::unique_ptr<std::iostream> {
            if (++calls == 2) throw std::runtime_error("disk is full");
            return std::make_unique<std::stringstream>();
        });
    HttpRequest withChange = get();
    withChange.setPreRespCodeAndHeadersCallback([calls = 0]() mutable {
        if (++calls == 3) throw std::runtime_error("no further");
    });

    EXPECT_THAT([&] { client.makeRequest(std::move(withFactory)); },
                ThrowsExactly<std::runtime_error>("disk is full"));
    EXPECT_THAT([&] { client.makeRequest(std::move(withChange)); },
                ThrowsExactly<std::runtime_error>("no further"));

    client.setClientConfiguration(client.getClientConfiguration());
    EXPECT_NO_THROW(client.makeRequest(get()));
    EXPECT_EQ(client.problems(), "");
}

}  // namespace
}  // namespace tavrin::httpclient_core::test
