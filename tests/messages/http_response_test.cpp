#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iomanip>
#include <istream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/messages.h"
#include "support/entry_lines.h"
#include "support/grouping_locale.h"
#include "support/owning_stream.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::GroupingLocale;
using test::ThrowsExactly;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_base_of_v<HttpMessage, HttpResponse>);
static_assert(std::is_convertible_v<HttpResponse*, HttpMessage*>, "the base is public");
static_assert(std::has_virtual_destructor_v<HttpResponse>);
static_assert(std::is_default_constructible_v<HttpResponse>);
static_assert(std::is_constructible_v<HttpResponse, const HttpRequest&>);
static_assert(!std::is_copy_constructible_v<HttpResponse>);
static_assert(!std::is_copy_assignable_v<HttpResponse>);
static_assert(std::is_nothrow_move_constructible_v<HttpResponse>);
static_assert(std::is_nothrow_move_assignable_v<HttpResponse>);
static_assert(
    std::is_same_v<decltype(&HttpResponse::setHeaders), void (HttpResponse::*)(HttpHeaders)>,
    "a response adds work to each change of its headers");
static_assert(std::is_same_v<decltype(&HttpResponse::getResponseBody),
                             std::iostream& (HttpResponse::*)() const>);

constexpr char NO_STREAM[] = "Response stream factory returned no stream.";
constexpr char NO_FUNCTION[] = "bad_function_call";

using Callback = std::function<void()>;

HttpResponse responseOf(ResponseStreamFactory factory, Callback callback = {}) {
    HttpRequest request(HttpMethod::GET, URL("http://a/"), {});
    request.setResponseStreamFactory(std::move(factory));
    request.setPreRespCodeAndHeadersCallback(std::move(callback));
    return HttpResponse(request);
}

HttpResponse responseWithCallback(Callback callback) {
    return responseOf(defaultResponseStreamFactory(), std::move(callback));
}

// A response whose factory writes down how it is called: "<code> <reason>\n" and the headers.
HttpResponse responseWithRecordedFactory(std::vector<std::string>& calls) {
    return responseOf(
        [&calls](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
            calls.push_back(to_string(code) + " " + reason + "\n" + entryLines(headers));
            return std::make_unique<std::stringstream>();
        });
}

// Code, reason and headers as one text.
std::string statusAndHeaders(const HttpResponse& response) {
    return to_string(response.getResponseCode()) + " " + response.getResponseCodeReason() + "\n" +
           entryLines(response.getHeaders());
}

// All that stands in a stream that is kept in memory, wherever its positions are.
std::string contentOf(const HttpResponse& response) {
    return dynamic_cast<std::stringstream&>(response.getResponseBody()).str();
}

// A stream with ten bytes before the response's own.
std::unique_ptr<std::iostream> streamAtTen() {
    return std::make_unique<std::stringstream>("0123456789",
                                               std::ios::in | std::ios::out | std::ios::ate);
}

HttpResponse responseThatBeginsAtTen(int* factoryCalls = nullptr) {
    return responseOf([factoryCalls](HttpResponseCode, const std::string&, const HttpHeaders&) {
        if (factoryCalls) ++*factoryCalls;
        return streamAtTen();
    });
}

// Writes down when it is flushed and destroyed.
class ObservedStream : public std::iostream {
public:
    explicit ObservedStream(std::vector<std::string>& events)
        : std::iostream(nullptr), buffer_(events) {
        rdbuf(&buffer_);
    }
    ~ObservedStream() override { buffer_.events.emplace_back("destroyed"); }

private:
    struct Buffer : std::stringbuf {
        explicit Buffer(std::vector<std::string>& e) : events(e) {}
        int sync() override {
            events.emplace_back("flushed");
            return 0;
        }
        std::vector<std::string>& events;
    };

    Buffer buffer_;
};

// Can be written to but tells no position.
struct PositionlessBuffer : std::streambuf {
    int overflow(int character) override {
        written += static_cast<char>(character);
        return character;
    }
    std::string written;
};

using PositionlessStream = test::OwningStream<std::iostream, PositionlessBuffer>;

TEST(HttpResponse, SaysAtFirstThatNoRequestWasMade) {
    const HttpResponse response;

    EXPECT_EQ(statusAndHeaders(response), "-1 Request Not Made\n");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL());
}

TEST(HttpResponse, KeepsItsBodyInMemoryByDefault) {
    const HttpResponse response;

    std::iostream& body = response.getResponseBody();

    ASSERT_NE(dynamic_cast<std::stringstream*>(&body), nullptr);
    body << "body";
    EXPECT_EQ(response.getResponseBodyString(), "body");
}

TEST(HttpResponse, TakesFactoryAndCallbackFromTheRequestAndNothingElse) {
    int callbackCalls = 0;
    HttpRequest request(HttpMethod::PUT, URL("http://a/"), HttpHeaders{{"A", "1"}});
    request.setRequestBody(std::string("request"));
    request.setPreRespCodeAndHeadersCallback([&] { ++callbackCalls; });
    request.setResponseStreamFactory([](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::stringstream>("made");
    });

    HttpResponse response(request);

    EXPECT_EQ(statusAndHeaders(response), "-1 Request Not Made\n");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL());
    EXPECT_EQ(response.getResponseBodyString(), "made");
    EXPECT_EQ(callbackCalls, 0);
    response.setResponseCode(HttpResponseCode::OK);
    EXPECT_EQ(callbackCalls, 1);
}

TEST(HttpResponse, IsIndependentOfTheRequestOnceMade) {
    int calls = 0;
    HttpRequest request(HttpMethod::GET, URL("http://a/"), {});
    request.setPreRespCodeAndHeadersCallback([&] { ++calls; });
    HttpResponse response(request);

    request.setPreRespCodeAndHeadersCallback(nullptr);
    request.setResponseStreamFactory(nullptr);

    response.setResponseCode(HttpResponseCode::OK);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(response.getResponseBodyString(), "");
    EXPECT_FALSE(request.getPreRespCodeAndHeadersCallback());
}

TEST(HttpResponse, LeavesFactoryAndCallbackWithTheRequest) {
    HttpRequest request(HttpMethod::GET, URL("http://a/"), {});
    request.setPreRespCodeAndHeadersCallback([] {});

    const HttpResponse response(request);

    EXPECT_TRUE(request.getPreRespCodeAndHeadersCallback());
    EXPECT_TRUE(request.getResponseStreamFactory());
}

TEST(HttpResponse, MadeFromAMovedFromRequestHasNeitherFactoryNorCallback) {
    int calls = 0;
    HttpRequest request(HttpMethod::GET, URL("http://a/"), {});
    request.setPreRespCodeAndHeadersCallback([&] { ++calls; });
    const HttpRequest moved = std::move(request);

    HttpResponse response(request);

    response.setResponseCode(HttpResponseCode::OK);
    EXPECT_EQ(calls, 0);
    EXPECT_THAT([&] { response.getResponseBody(); },
                ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
}

TEST(HttpResponse, SetsItsCodeWithoutAVirtualCall) {
    struct Derived : HttpResponse {
        void setResponseCode(HttpResponseCode) { ADD_FAILURE() << "the code's setter is virtual"; }
    } derived;
    HttpResponse& response = derived;

    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.setResponseCode(HttpResponseCode::CREATED);

    EXPECT_EQ(statusAndHeaders(response), "201 Fine\n");
}

TEST(HttpResponse, KeepsTheReasonWhenTheCodeAloneIsSet) {
    HttpResponse response;

    response.setResponseCode(static_cast<HttpResponseCode>(799));

    EXPECT_EQ(statusAndHeaders(response), "799 Request Not Made\n");
}

TEST(HttpResponse, KeepsCodeReasonAndReport) {
    HttpResponse response;

    response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "Gone Fishing");
    response.setTransactionReport(TransactionReport(2, URL("http://b/")));

    EXPECT_EQ(statusAndHeaders(response), "404 Gone Fishing\n");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 2);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL("http://b/"));
}

TEST(HttpResponse, ChangesHeadersAsAMessageDoes) {
    HttpResponse response;

    response.setHeaders(HttpHeaders{{"A", "1"}, {"B", "2"}, {"a", "3"}});
    response.setHeaderValue("a", "new");
    response.addHeaderValue("B", "4");
    response.addHeader(" C :5\r\n");
    response.addHeader("");
    EXPECT_EQ(entryLines(response.getHeaders()), "A: new\nB: 2\na: 3\nB: 4\nC: 5\n");

    response.removeHeader("b");
    EXPECT_EQ(entryLines(response.getHeaders()), "A: new\na: 3\nC: 5\n");
}

TEST(HttpResponseCallback, RunsOncePerChangeOfStatusOrHeaders) {
    int calls = 0;
    HttpResponse response = responseWithCallback([&] { ++calls; });
    const auto callsOf = [&](const std::function<void()>& change) {
        calls = 0;
        change();
        return calls;
    };

    EXPECT_EQ(callsOf([&] { response.setResponseCode(HttpResponseCode::OK); }), 1);
    EXPECT_EQ(callsOf([&] { response.setResponseCode(HttpResponseCode::OK); }), 1);
    EXPECT_EQ(callsOf([&] { response.setResponseCodeAndReason(HttpResponseCode::OK, "OK"); }), 1);
    EXPECT_EQ(callsOf([&] { response.setHeaders(HttpHeaders{{"A", "1"}}); }), 1);
    EXPECT_EQ(callsOf([&] { response.setHeaderValue("A", "2"); }), 1);
    EXPECT_EQ(callsOf([&] { response.addHeaderValue("A", "3"); }), 1);
    EXPECT_EQ(callsOf([&] { response.addHeader("A: 4"); }), 1);
    EXPECT_EQ(callsOf([&] { response.addHeader(""); }), 1);
    EXPECT_EQ(callsOf([&] { response.removeHeader("A"); }), 1);
    EXPECT_EQ(callsOf([&] { response.removeHeader("absent"); }), 1);
    EXPECT_EQ(callsOf([&] { response.setResponseBody("body"); }), 1);
    EXPECT_EQ(callsOf([&] { response.setResponseBody("body again"); }), 1);
}

TEST(HttpResponseCallback, RunsForTheTypedSettersToo) {
    int calls = 0;
    HttpResponse response = responseWithCallback([&] { ++calls; });

    response.setContentType("a/b");
    response.setContentType(ContentType("a/b", {}));
    response.setContentLength("1");
    response.setContentLength(std::string("1"));
    response.setAccept("a/b");
    response.setAccept(Accept({}));
    response.setTransferEncoding("chunked");
    response.setCookie({});

    EXPECT_EQ(calls, 8);
}

TEST(HttpResponseCallback, RunsForChangesThroughTheBase) {
    int calls = 0;
    HttpResponse response = responseWithCallback([&] { ++calls; });
    HttpMessage& message = response;

    message.setHeaders(HttpHeaders{});
    message.setHeaderValue("A", "1");
    message.addHeaderValue("A", "2");
    message.addHeader("A: 3");
    message.removeHeader("A");

    EXPECT_EQ(calls, 5);
}

TEST(HttpResponseCallback, DoesNotRunForAnythingElse) {
    int calls = 0;
    HttpResponse response = responseWithCallback([&] { ++calls; });

    response.getResponseCode();
    response.getResponseCodeReason();
    response.getHeaders();
    response.hasHeader("A");
    response.setTransactionReport(TransactionReport(1, URL("http://b/")));
    response.getTransactionReport();
    response.getResponseBody() << "body";
    response.getResponseBodyString();
    response.resetResponseBody();
    HttpResponse constructed = std::move(response);
    HttpResponse assigned;
    assigned = std::move(constructed);

    EXPECT_EQ(calls, 0);
}

TEST(HttpResponseCallback, RunsBeforeTheChange) {
    std::vector<std::string> seen;
    HttpResponse* observed = nullptr;
    HttpResponse response =
        responseWithCallback([&] { seen.push_back(statusAndHeaders(*observed)); });
    observed = &response;

    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.setHeaderValue("A", "1");
    response.addHeaderValue("A", "2");
    response.removeHeader("A");
    response.setHeaders(HttpHeaders{{"B", "3"}});
    response.addHeader("C: 4");

    EXPECT_THAT(seen, ElementsAre("-1 Request Not Made\n", "200 Fine\n", "200 Fine\nA: 1\n",
                                  "200 Fine\nA: 1\nA: 2\n", "200 Fine\n", "200 Fine\nB: 3\n"));
}

TEST(HttpResponseCallback, RunsBeforeALineIsFoundToBeMalformed) {
    int calls = 0;
    HttpResponse response = responseWithCallback([&] { ++calls; });

    EXPECT_THAT(
        [&] { response.addHeader("NoColon"); },
        ThrowsExactly<std::runtime_error>("Missing delimiter <:> when parsing : <NoColon>"));

    EXPECT_EQ(calls, 1);
    EXPECT_EQ(entryLines(response.getHeaders()), "");
}

TEST(HttpResponseCallback, RunsOnTheThreadThatMakesTheChange) {
    std::thread::id runner;
    HttpResponse response = responseWithCallback([&] { runner = std::this_thread::get_id(); });

    response.setHeaderValue("A", "1");
    EXPECT_EQ(runner, std::this_thread::get_id());

    std::thread changer([&] { response.setResponseCode(HttpResponseCode::OK); });
    const std::thread::id changerId = changer.get_id();
    changer.join();
    EXPECT_EQ(runner, changerId);
}

TEST(HttpResponseCallback, MayAskForTheBody) {
    HttpResponse* observed = nullptr;
    HttpResponse response = responseWithCallback([&] { observed->getResponseBody() << "x"; });
    observed = &response;

    response.setResponseCode(HttpResponseCode::OK);

    EXPECT_EQ(response.getResponseBodyString(), "x");
}

TEST(HttpResponseCallback, KeepsTheChangeFromBeingMadeIfItThrows) {
    bool throwing = false;
    HttpResponse response = responseWithCallback([&] {
        if (throwing) throw std::runtime_error("stop");
    });
    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.setHeaders(HttpHeaders{{"A", "1"}});
    throwing = true;

    const std::vector<std::function<void()>> changes = {
        [&] { response.setResponseCode(HttpResponseCode::NOT_FOUND); },
        [&] { response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "Lost"); },
        [&] {
            response.setHeaders(HttpHeaders{{"B", "2"}});
        },
        [&] { response.setHeaderValue("A", "2"); },
        [&] { response.addHeaderValue("A", "2"); },
        [&] { response.addHeader("A: 2"); },
        [&] { response.removeHeader("A"); },
        [&] { response.setContentLength("2"); },
        [&] { response.setResponseBody("body"); }};
    for (const auto& change : changes) {
        EXPECT_THAT(change, ThrowsExactly<std::runtime_error>("stop"));
        EXPECT_EQ(statusAndHeaders(response), "200 Fine\nA: 1\n");
        EXPECT_EQ(contentOf(response), "");
    }

    throwing = false;
    response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "Lost");
    response.setResponseBody("body");
    EXPECT_EQ(statusAndHeaders(response), "404 Lost\nA: 1\nContent-Length: 4\n");
    EXPECT_EQ(response.getResponseBodyString(), "body");
}

TEST(HttpResponseBody, IsMadeOnceAtTheFirstCall) {
    std::vector<std::string> calls;
    HttpResponse response = responseWithRecordedFactory(calls);
    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.setHeaders(HttpHeaders{{"A", "1"}, {"a", "2"}});
    EXPECT_THAT(calls, IsEmpty());

    std::iostream& body = response.getResponseBody();
    response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "Lost");

    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_THAT(calls, ElementsAre("200 Fine\nA: 1\na: 2\n"));
}

TEST(HttpResponseBody, IsTheStreamThatTheFactoryMade) {
    std::iostream* made = nullptr;
    const HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            auto stream = std::make_unique<std::stringstream>();
            made = stream.get();
            return stream;
        });

    EXPECT_EQ(&response.getResponseBody(), made);
}

TEST(HttpResponseBody, IsMadeFromCopiesOfReasonAndHeaders) {
    HttpResponse* observed = nullptr;
    std::string given;
    HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string& reason, const HttpHeaders& headers) {
            observed->setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "changed");
            observed->setHeaders(HttpHeaders{{"B", "2"}});
            given = reason + "\n" + entryLines(headers);
            return std::make_unique<std::stringstream>();
        });
    observed = &response;
    response.setResponseCodeAndReason(HttpResponseCode::OK, "a reason of some length, kept apart");
    response.setHeaders(HttpHeaders{{"A", "1"}});

    response.getResponseBody();

    EXPECT_EQ(given, "a reason of some length, kept apart\nA: 1\n");
    EXPECT_EQ(statusAndHeaders(response), "404 changed\nB: 2\n");
}

TEST(HttpResponseBody, FailsWithAnEmptyFactoryEachTimeItIsAskedFor) {
    HttpResponse response = responseOf(nullptr);

    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT([&] { response.getResponseBody(); },
                    ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
        EXPECT_THAT([&] { response.getResponseBodyString(); },
                    ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
        EXPECT_THAT([&] { response.setResponseBody("body"); },
                    ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
        response.resetResponseBody();
        EXPECT_EQ(statusAndHeaders(response), "-1 Request Not Made\n");
    }
}

TEST(HttpResponseBody, FailsWithAFactoryThatReturnsNoStream) {
    int calls = 0;
    HttpResponse response = responseOf([&](HttpResponseCode, const std::string&,
                                           const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        if (++calls < 4) return nullptr;
        return std::make_unique<std::stringstream>("late");
    });
    response.setHeaders(HttpHeaders{{"Content-Length", "9"}});

    EXPECT_THAT([&] { response.getResponseBody(); }, ThrowsExactly<std::logic_error>(NO_STREAM));
    response.resetResponseBody();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT([&] { response.getResponseBodyString(); },
                ThrowsExactly<std::logic_error>(NO_STREAM));
    EXPECT_THAT([&] { response.setResponseBody("body"); },
                ThrowsExactly<std::logic_error>(NO_STREAM));
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(statusAndHeaders(response), "-1 Request Not Made\nContent-Length: 9\n");

    EXPECT_EQ(response.getResponseBodyString(), "late");
    EXPECT_EQ(calls, 4);
}

TEST(HttpResponseBody, PassesOnWhatTheFactoryThrowsAndCanBeAskedForAgain) {
    bool throwing = true;
    HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            if (throwing) throw std::ios::failure("disk full");
            return std::make_unique<std::stringstream>("made");
        });

    EXPECT_THROW(response.getResponseBody(), std::ios::failure);
    EXPECT_THROW(response.getResponseBodyString(), std::ios::failure);
    throwing = false;

    std::string body;
    std::thread([&] { body = response.getResponseBodyString(); }).join();
    EXPECT_EQ(body, "made");
}

TEST(HttpResponseBodyString, MakesTheStreamIfThereIsNone) {
    std::vector<std::string> calls;
    const HttpResponse response = responseWithRecordedFactory(calls);

    EXPECT_EQ(response.getResponseBodyString(), "");
    EXPECT_EQ(calls.size(), 1u);

    response.getResponseBody();
    EXPECT_EQ(calls.size(), 1u);
}

TEST(HttpResponseBodyString, IsWhatIsLeftToReadAndThenNothing) {
    HttpResponse response;
    response.getResponseBody() << "hello world";
    response.getResponseBody().seekg(6);

    EXPECT_EQ(response.getResponseBodyString(), "world");
    EXPECT_EQ(response.getResponseBodyString(), "");
    EXPECT_EQ(response.getResponseBody().rdbuf()->sgetc(), std::char_traits<char>::eof());

    response.getResponseBody().clear();
    response.getResponseBody() << "!";
    EXPECT_EQ(response.getResponseBodyString(), "!");
}

TEST(HttpResponseBodyString, IsWhatIsLeftHoweverMuchIsRead) {
    const std::string body = "body";
    for (std::size_t read = 0; read <= body.size(); ++read) {
        const HttpResponse response;
        std::iostream& stream = response.getResponseBody();
        stream << body;
        stream.ignore(static_cast<std::streamsize>(read));

        EXPECT_EQ(response.getResponseBodyString(), body.substr(read));
    }
}

TEST(HttpResponseBodyString, ReadsTheBufferWhateverTheStateOfTheStream) {
    const HttpResponse response;
    response.getResponseBody() << "body";
    response.getResponseBody().setstate(std::ios::eofbit | std::ios::failbit);

    EXPECT_EQ(response.getResponseBodyString(), "body");
}

TEST(HttpResponseBodyString, IsEmptyForAStreamWithoutABuffer) {
    const HttpResponse response =
        responseOf([](HttpResponseCode, const std::string&, const HttpHeaders&) {
            return std::make_unique<std::iostream>(nullptr);
        });

    EXPECT_EQ(response.getResponseBodyString(), "");
}

TEST(HttpResponseBodyString, HoldsNoMoreThanCameOfWhatABufferPromised) {
    struct Optimist : std::streambuf {
        std::streamsize showmanyc() override { return 100; }
        int_type underflow() override {
            return rest.empty() ? traits_type::eof() : traits_type::to_int_type(rest.front());
        }
        int_type uflow() override {
            const int_type next = underflow();
            if (!rest.empty()) rest.erase(0, 1);
            return next;
        }
        std::string rest = "all there is";
    };
    Optimist buffer;
    const HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            return std::make_unique<std::iostream>(&buffer);
        });

    EXPECT_EQ(response.getResponseBodyString(), "all there is");
}

TEST(HttpResponseBodyString, HoldsEveryByteOfALargeBody) {
    std::string body;
    for (int i = 0; i < 100000; ++i) body += static_cast<char>(i % 256);
    HttpResponse response;

    response.setResponseBody(body);

    EXPECT_EQ(response.getResponseBodyString(), body);
}

TEST(HttpResponseTextBody, IsWrittenWithItsLength) {
    HttpResponse response;

    response.setResponseBody("abc");

    EXPECT_EQ(entryLines(response.getHeaders()), "Content-Length: 3\n");
    EXPECT_EQ(response.getResponseBodyString(), "abc");
}

TEST(HttpResponseTextBody, FollowsAnEarlierOneInTheSameStream) {
    HttpResponse response;
    response.setResponseBody("abc");

    response.setResponseBody("de");

    EXPECT_EQ(entryLines(response.getHeaders()), "Content-Length: 2\n");
    EXPECT_EQ(response.getResponseBodyString(), "abcde");
}

TEST(HttpResponseTextBody, IsWrittenAtTheWritePosition) {
    HttpResponse response;
    response.setResponseBody("abcdef");
    response.getResponseBody().seekp(2);

    response.setResponseBody("XY");

    EXPECT_EQ(contentOf(response), "abXYef");
}

TEST(HttpResponseTextBody, ReplacesALengthThatIsThereAlready) {
    HttpResponse response;
    response.setHeaders(HttpHeaders{
        {"content-length", "99"}, {"Transfer-Encoding", "chunked"}, {"Content-Length", "98"}});

    response.setResponseBody("");

    EXPECT_EQ(entryLines(response.getHeaders()),
              "content-length: 0\nTransfer-Encoding: chunked\nContent-Length: 98\n");
    EXPECT_EQ(response.getResponseBodyString(), "");
}

TEST(HttpResponseTextBody, CountsAndKeepsEveryByte) {
    HttpResponse response;
    const std::string body("\0\xC3\xA9\r\n", 5);

    response.setResponseBody(body);

    EXPECT_EQ(response.getContentLength(), 5);
    EXPECT_EQ(response.getResponseBodyString(), body);
}

TEST(HttpResponseTextBody, IsWrittenAsItIsWhateverTheWidthOfItsStream) {
    HttpResponse response;
    response.getResponseBody() << std::setw(8) << std::setfill('*');

    response.setResponseBody("ab");

    EXPECT_EQ(contentOf(response), "ab");
}

TEST(HttpResponseTextBody, ThatItsStreamDoesNotTakeShowsInTheStreamAlone) {
    HttpResponse response;
    response.getResponseBody().setstate(std::ios::badbit);

    response.setResponseBody("abc");

    EXPECT_EQ(entryLines(response.getHeaders()), "Content-Length: 3\n");
    EXPECT_TRUE(response.getResponseBody().bad());
    EXPECT_EQ(contentOf(response), "");
}

TEST(HttpResponseTextBody, GetsItsLengthInPlainDigitsUnderALocaleThatGroupsThem) {
    const GroupingLocale grouping;
    HttpResponse response;

    response.setResponseBody(std::string(1234567, 'x'));

    EXPECT_EQ(response.getHeaderValue("Content-Length"), "1234567");
}

TEST(HttpResponseTextBody, SetsItsLengthThroughTheVirtualSetterBeforeTheStreamIsMade) {
    struct Derived : HttpResponse {
        using HttpResponse::HttpResponse;
        void setHeaderValue(const std::string& name, std::string value) override {
            headersSet += name + ": " + value + "\n";
            HttpResponse::setHeaderValue(name, std::move(value));
        }
        std::string headersSet;
    };
    std::string given;
    HttpRequest request(HttpMethod::GET, URL("http://a/"), {});
    request.setResponseStreamFactory(
        [&](HttpResponseCode, const std::string&, const HttpHeaders& headers) {
            given = entryLines(headers);
            return std::make_unique<std::stringstream>();
        });
    Derived response(request);

    response.setResponseBody("abc");

    EXPECT_EQ(response.headersSet, "Content-Length: 3\n");
    EXPECT_EQ(given, "Content-Length: 3\n");
}

TEST(HttpResponseTextBody, LeavesTheHeadersAsTheyWereIfThereIsNoStreamToWriteTo) {
    const std::vector<ResponseStreamFactory> factories = {
        nullptr,
        [](HttpResponseCode, const std::string&,
           const HttpHeaders&) -> std::unique_ptr<std::iostream> { return nullptr; },
        [](HttpResponseCode, const std::string&,
           const HttpHeaders&) -> std::unique_ptr<std::iostream> { throw std::bad_alloc(); }};
    for (const auto& factory : factories) {
        HttpResponse response = responseOf(factory);
        EXPECT_ANY_THROW(response.setResponseBody("body"));
        EXPECT_EQ(entryLines(response.getHeaders()), "");
        EXPECT_FALSE(response.hasHeader("Content-Length"));

        response.setHeaders(HttpHeaders{{"content-length", "9"}, {"Content-Length", "8"}});
        EXPECT_ANY_THROW(response.setResponseBody("body"));
        EXPECT_EQ(entryLines(response.getHeaders()), "content-length: 9\nContent-Length: 8\n");
    }
}

TEST(HttpResponseReset, DoesNothingWithoutAStream) {
    std::vector<std::string> calls;
    HttpResponse response = responseWithRecordedFactory(calls);

    response.resetResponseBody();

    EXPECT_THAT(calls, IsEmpty());
}

TEST(HttpResponseReset, DoesNothingIfNothingWasWritten) {
    std::vector<std::string> calls;
    HttpResponse response = responseWithRecordedFactory(calls);
    std::iostream& body = response.getResponseBody();

    response.resetResponseBody();

    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(calls.size(), 1u);
}

TEST(HttpResponseReset, DoesNothingIfTheWritePositionIsBackAtTheStart) {
    std::vector<std::string> calls;
    HttpResponse response = responseWithRecordedFactory(calls);
    std::iostream& body = response.getResponseBody();
    body << "abc";
    body.seekp(0);

    response.resetResponseBody();

    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(contentOf(response), "abc");
    EXPECT_EQ(calls.size(), 1u);
}

TEST(HttpResponseReset, ReplacesAStreamInMemoryByANewEmptyOne) {
    HttpResponse response;
    std::iostream* const before = &response.getResponseBody();
    *before << "half a bo";

    response.resetResponseBody();

    EXPECT_EQ(contentOf(response), "");
    response.setResponseBody("whole body");
    EXPECT_EQ(response.getResponseBodyString(), "whole body");
}

TEST(HttpResponseReset, AsksTheFactoryWithTheStatusAndHeadersOfThatMoment) {
    std::vector<std::string> calls;
    HttpResponse response = responseWithRecordedFactory(calls);
    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.getResponseBody() << "x";
    response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, "Lost");
    response.setHeaderValue("A", "1");

    response.resetResponseBody();
    response.getResponseBody();

    EXPECT_THAT(calls, ElementsAre("200 Fine\n", "404 Lost\nA: 1\n"));
}

TEST(HttpResponseReset, FlushesTheOldStreamThenMakesTheNewOneThenDestroysTheOld) {
    std::vector<std::string> events;
    {
        HttpResponse response =
            responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                events.emplace_back("made");
                return std::make_unique<ObservedStream>(events);
            });
        response.getResponseBody() << "x";
        EXPECT_THAT(events, ElementsAre("made"));

        response.resetResponseBody();

        EXPECT_THAT(events, ElementsAre("made", "flushed", "made", "destroyed"));
    }
    EXPECT_EQ(events.back(), "destroyed");
}

TEST(HttpResponseReset, WritesTheStartOfAFileToDiskBeforeTheFactoryOpensItAgain) {
    const std::string path = testing::TempDir() + "http_response_test_" +
                             testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string foundByTheFactory;
    HttpResponse response = responseOf([&](HttpResponseCode, const std::string&,
                                           const HttpHeaders&) {
        std::ostringstream found;
        found << std::ifstream(path).rdbuf();
        foundByTheFactory = found.str();
        return std::make_unique<std::fstream>(path, std::ios::in | std::ios::out | std::ios::trunc);
    });
    response.getResponseBody() << "half a bo";

    response.resetResponseBody();

    EXPECT_EQ(foundByTheFactory, "half a bo");
    EXPECT_EQ(std::remove(path.c_str()), 0);
}

TEST(HttpResponseReset, KeepsTakingTheStartForZeroWhereverTheNewStreamBegins) {
    int calls = 0;
    HttpResponse response = responseOf([&](HttpResponseCode, const std::string&,
                                           const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        if (++calls == 1) return std::make_unique<std::stringstream>();
        return streamAtTen();
    });
    response.getResponseBody() << "x";
    response.resetResponseBody();
    ASSERT_EQ(calls, 2);

    response.resetResponseBody();

    EXPECT_EQ(calls, 3);
}

TEST(HttpResponseReset, MovesTheWritePositionBackToWhereTheResponseBegan) {
    int factoryCalls = 0;
    HttpResponse response = responseThatBeginsAtTen(&factoryCalls);
    std::iostream& body = response.getResponseBody();
    body << "abcdef";

    response.resetResponseBody();

    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(factoryCalls, 1);
    EXPECT_EQ(body.tellp(), std::streampos(10));
    EXPECT_EQ(contentOf(response), "0123456789abcdef");

    body << "XY";
    EXPECT_EQ(contentOf(response), "0123456789XYcdef");

    response.resetResponseBody();
    EXPECT_EQ(body.tellp(), std::streampos(10));
}

TEST(HttpResponseReset, DoesNothingIfNothingWasWrittenBehindTheStart) {
    int factoryCalls = 0;
    HttpResponse response = responseThatBeginsAtTen(&factoryCalls);
    std::iostream& body = response.getResponseBody();

    response.resetResponseBody();
    EXPECT_EQ(body.tellp(), std::streampos(10));

    body.seekp(4);
    response.resetResponseBody();
    EXPECT_EQ(body.tellp(), std::streampos(4));
    EXPECT_EQ(factoryCalls, 1);
}

TEST(HttpResponseReset, LeavesTheReadPositionAlone) {
    HttpResponse response = responseThatBeginsAtTen();
    std::iostream& body = response.getResponseBody();
    body << "abcdef";
    body.seekg(3);

    response.resetResponseBody();

    EXPECT_EQ(body.tellg(), std::streampos(3));
}

TEST(HttpResponseReset, LeavesAFailedStreamAlone) {
    int factoryCalls = 0;
    const auto countingFactory = [&](bool atTen) {
        return [&factoryCalls, atTen](HttpResponseCode, const std::string&, const HttpHeaders&) {
            ++factoryCalls;
            return atTen ? streamAtTen() : std::make_unique<std::stringstream>();
        };
    };
    for (const bool atTen : {false, true}) {
        factoryCalls = 0;
        HttpResponse response = responseOf(countingFactory(atTen));
        std::iostream& body = response.getResponseBody();
        body << "abc";
        const std::string content = contentOf(response);
        body.setstate(std::ios::failbit);

        response.resetResponseBody();

        EXPECT_EQ(&response.getResponseBody(), &body);
        EXPECT_EQ(factoryCalls, 1);
        EXPECT_TRUE(body.fail());
        EXPECT_EQ(contentOf(response), content);
        body.clear();
        EXPECT_EQ(body.tellp(), std::streampos(atTen ? 13 : 3));
    }
}

TEST(HttpResponseReset, LeavesAStreamAloneThatTellsNoPosition) {
    int factoryCalls = 0;
    HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            ++factoryCalls;
            return std::make_unique<PositionlessStream>();
        });
    auto& body = dynamic_cast<PositionlessStream&>(response.getResponseBody());
    body << "abc";

    response.resetResponseBody();

    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(factoryCalls, 1);
    EXPECT_TRUE(body.good());
    EXPECT_EQ(body.buffer().written, "abc");
}

TEST(HttpResponseReset, KeepsTheOldStreamIfThereIsNoNewOne) {
    int calls = 0;
    HttpResponse response = responseOf([&](HttpResponseCode, const std::string&,
                                           const HttpHeaders&) -> std::unique_ptr<std::iostream> {
        ++calls;
        if (calls == 2) throw std::runtime_error("disk full");
        if (calls == 3) return nullptr;
        return std::make_unique<std::stringstream>();
    });
    std::iostream& body = response.getResponseBody();
    body << "abc";

    EXPECT_THAT([&] { response.resetResponseBody(); },
                ThrowsExactly<std::runtime_error>("disk full"));
    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(contentOf(response), "abc");

    EXPECT_THAT([&] { response.resetResponseBody(); }, ThrowsExactly<std::logic_error>(NO_STREAM));
    EXPECT_EQ(&response.getResponseBody(), &body);
    EXPECT_EQ(contentOf(response), "abc");

    std::thread([&] { response.resetResponseBody(); }).join();
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(contentOf(response), "");
}

// A response with everything a response can have; its body begins at 10 and goes on to 13.
HttpResponse fullResponse(int& callbackCalls) {
    HttpResponse response = responseOf(
        [](HttpResponseCode, const std::string&, const HttpHeaders&) { return streamAtTen(); },
        [&callbackCalls] { ++callbackCalls; });
    response.setResponseCodeAndReason(HttpResponseCode::OK, "Fine");
    response.setHeaders(HttpHeaders{{"A", "1"}});
    response.setTransactionReport(TransactionReport(3, URL("http://b/")));
    response.getResponseBody() << "abc";
    callbackCalls = 0;
    return response;
}

void expectEverythingOfAFullResponse(HttpResponse& response, const std::iostream* body,
                                     const int& callbackCalls) {
    EXPECT_EQ(callbackCalls, 0);
    EXPECT_EQ(statusAndHeaders(response), "200 Fine\nA: 1\n");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 3);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL("http://b/"));
    EXPECT_EQ(&response.getResponseBody(), body);
    response.resetResponseBody();
    EXPECT_EQ(&response.getResponseBody(), body);
    EXPECT_EQ(response.getResponseBody().tellp(), std::streampos(10));
    response.setHeaderValue("A", "2");
    EXPECT_EQ(callbackCalls, 1);
}

TEST(HttpResponse, MovesEverythingItHasIntoANewOne) {
    int callbackCalls = 0;
    HttpResponse source = fullResponse(callbackCalls);
    const std::iostream* const body = &source.getResponseBody();

    HttpResponse response = std::move(source);

    expectEverythingOfAFullResponse(response, body, callbackCalls);
}

TEST(HttpResponse, MovesEverythingItHasIntoAnotherOne) {
    int callbackCalls = 0;
    int callbackCallsOfTheTarget = 0;
    HttpResponse source = fullResponse(callbackCalls);
    const std::iostream* const body = &source.getResponseBody();
    HttpResponse target = responseWithCallback([&] { ++callbackCallsOfTheTarget; });
    target.setHeaders(HttpHeaders{{"A", "old"}, {"B", "old"}});
    callbackCallsOfTheTarget = 0;

    EXPECT_EQ(&(target = std::move(source)), &target);

    expectEverythingOfAFullResponse(target, body, callbackCalls);
    EXPECT_FALSE(target.hasHeader("B"));
    EXPECT_EQ(callbackCallsOfTheTarget, 0);
}

TEST(HttpResponse, StaysAsItIsWhenMovedIntoItself) {
    int callbackCalls = 0;
    HttpResponse response = fullResponse(callbackCalls);
    const std::iostream* const body = &response.getResponseBody();
    HttpResponse& same = response;

    response = std::move(same);

    expectEverythingOfAFullResponse(response, body, callbackCalls);
}

TEST(HttpResponse, DestroysItsBodyWhenAnotherOneIsMovedInto) {
    std::vector<std::string> events;
    HttpResponse target = responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<ObservedStream>(events);
    });
    target.getResponseBody();

    target = HttpResponse();

    EXPECT_THAT(events, ElementsAre("destroyed"));
    EXPECT_EQ(statusAndHeaders(target), "-1 Request Not Made\n");
    EXPECT_EQ(target.getResponseBodyString(), "");
    EXPECT_THAT(events, ElementsAre("destroyed"));
}

TEST(HttpResponse, ForgetsWhereItsOwnBodyBeganWhenAnotherOneIsMovedInto) {
    HttpResponse target = responseThatBeginsAtTen();
    target.getResponseBody() << "abc";
    HttpResponse source;
    source.getResponseBody() << "0123456789abc";

    target = std::move(source);
    target.resetResponseBody();

    EXPECT_EQ(contentOf(target), "");
}

TEST(HttpResponse, IsEmptyOnceMovedFrom) {
    int callbackCalls = 0;
    HttpResponse source = fullResponse(callbackCalls);

    const HttpResponse constructed = std::move(source);

    EXPECT_EQ(entryLines(source.getHeaders()), "");
    EXPECT_FALSE(source.hasHeader("A"));
    EXPECT_EQ(source.getTransactionReport().effectiveURL(), URL());
    EXPECT_EQ(source.getResponseCodeReason(), "");
    source.resetResponseBody();
    EXPECT_THAT([&] { source.getResponseBody(); },
                ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
    EXPECT_THAT([&] { source.getResponseBodyString(); },
                ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
    source.setResponseCode(HttpResponseCode::NOT_FOUND);
    source.setHeaderValue("C", "1");
    EXPECT_EQ(callbackCalls, 0);
}

TEST(HttpResponse, IsEmptyOnceMovedFromByAssignment) {
    int callbackCalls = 0;
    HttpResponse source = fullResponse(callbackCalls);
    HttpResponse assigned;

    assigned = std::move(source);

    EXPECT_EQ(entryLines(source.getHeaders()), "");
    EXPECT_THAT([&] { source.getResponseBody(); },
                ThrowsExactly<std::bad_function_call>(NO_FUNCTION));
    source.setResponseCode(HttpResponseCode::NOT_FOUND);
    EXPECT_EQ(callbackCalls, 0);
}

TEST(HttpResponse, IsUsableOnceMovedFrom) {
    int callbackCalls = 0;
    HttpResponse response = fullResponse(callbackCalls);
    HttpResponse moved = std::move(response);

    response.setResponseCodeAndReason(HttpResponseCode::CREATED, "New");
    response.addHeader("B: 2");
    response.addHeaderValue("B", "3");
    response.setHeaderValue("b", "4");
    response.removeHeader("absent");
    response.setTransactionReport(TransactionReport(1, URL("http://c/")));
    EXPECT_ANY_THROW(response.setResponseBody("body"));
    EXPECT_EQ(statusAndHeaders(response), "201 New\nB: 4\nB: 3\n");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 1);
    response.setHeaders({});
    EXPECT_EQ(entryLines(response.getHeaders()), "");

    response = std::move(moved);
    EXPECT_EQ(statusAndHeaders(response), "200 Fine\nA: 1\n");
    EXPECT_EQ(contentOf(response), "0123456789abc");
}

// Gives every thread the time to come in that is not kept out, once all are at the door.
template <typename Condition>
void letOthersIn(Condition allAreThere) {
    while (!allAreThere()) std::this_thread::yield();
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
}

TEST(HttpResponseThreads, MakeOneStreamHoweverManyAskForIt) {
    std::vector<std::iostream*> streams(8);
    std::atomic<std::size_t> askers = 0;
    std::atomic<int> factoryCalls = 0;
    const HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            ++factoryCalls;
            letOthersIn([&] { return askers == streams.size(); });
            return std::make_unique<std::stringstream>("made");
        });
    std::vector<std::thread> threads;

    for (std::iostream*& stream : streams) {
        threads.emplace_back([&] {
            ++askers;
            stream = &response.getResponseBody();
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(factoryCalls, 1);
    EXPECT_THAT(streams, testing::Each(&response.getResponseBody()));
}

TEST(HttpResponseThreads, ResetTheBodyOnce) {
    constexpr int THREADS = 8;
    std::atomic<int> askers = 0;
    std::atomic<int> factoryCalls = 0;
    HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            // The first stream is made before there are threads.
            if (++factoryCalls > 1) letOthersIn([&] { return askers == THREADS; });
            return std::make_unique<std::stringstream>();
        });
    response.getResponseBody() << "half a bo";
    std::vector<std::thread> threads;

    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            ++askers;
            response.resetResponseBody();
            response.getResponseBody();
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(factoryCalls, 2);
    EXPECT_EQ(contentOf(response), "");
}

TEST(HttpResponseThreads, AskForTheBodyAgainAfterAnotherOneFailedToMakeIt) {
    std::atomic<int> factoryCalls = 0;
    const HttpResponse response =
        responseOf([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
            if (++factoryCalls <= 4) throw std::runtime_error("not yet");
            return std::make_unique<std::stringstream>();
        });
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;

    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            try {
                response.getResponseBody();
            } catch (const std::runtime_error&) {
                ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(failures, 4);
    EXPECT_EQ(factoryCalls, 5);
}

}  // namespace
}  // namespace tavrin::httpclient_core
