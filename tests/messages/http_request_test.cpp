#include <gmock/gmock.h>

#include <functional>
#include <istream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "httpclient_core/configuration.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/messages.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/grouping_locale.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::GroupingLocale;
using test::LogCapture;
using test::ThrowsExactly;
using testing::IsEmpty;

static_assert(std::is_base_of_v<HttpMessage, HttpRequest>);
static_assert(std::is_convertible_v<HttpRequest*, HttpMessage*>, "the base is public");
static_assert(std::has_virtual_destructor_v<HttpRequest>);
static_assert(!std::is_default_constructible_v<HttpRequest>);
static_assert(!std::is_copy_constructible_v<HttpRequest>);
static_assert(std::is_nothrow_move_constructible_v<HttpRequest>);
static_assert(!std::is_copy_assignable_v<HttpRequest> && !std::is_move_assignable_v<HttpRequest>);
static_assert(
    std::is_same_v<decltype(&HttpRequest::getQueryParameters), QueryParameters (HttpRequest::*)()>,
    "reading the parameters takes a request that may be changed");
static_assert(
    std::is_same_v<decltype(&HttpRequest::setHeaders), void (HttpMessage::*)(HttpHeaders)>,
    "headers change as those of any message");
static_assert(std::is_same_v<decltype(&HttpRequest::setHeaderValue),
                             void (HttpMessage::*)(const std::string&, std::string)>);
static_assert(std::is_same_v<decltype(&HttpRequest::removeHeader),
                             void (HttpMessage::*)(const std::string&)>);
static_assert(std::is_same_v<ResponseStreamFactory,
                             std::function<std::unique_ptr<std::iostream>(
                                 HttpResponseCode, const std::string&, const HttpHeaders&)>>);

const char BASE_URL[] = "http://example.com/a";

HttpRequest get(HttpHeaders headers = {}) {
    return HttpRequest(HttpMethod::GET, URL(BASE_URL), std::move(headers));
}

std::unique_ptr<std::istream> streamOf(const std::string& text) {
    return std::make_unique<std::istringstream>(text);
}

MultipartBody parts(const std::string& data) {
    return MultipartBody().withPart(DataPart(PartHeader("name"), data));
}

// The parts of a multipart body, one line each.
std::string partLines(const MultipartBody& body) {
    std::string lines;
    for (const auto& part : body.getContent()) {
        if (const auto* data = std::get_if<DataPart>(&part)) {
            lines += "data " + data->getHeader().getPartName() + " " + data->getData() + "\n";
        } else {
            const auto& file = std::get<FilePart>(part);
            lines +=
                "file " + file.getHeader().getPartName() + " " + file.getFilePath().toUtf8() + "\n";
        }
    }
    return lines;
}

// Counts its own calls; copies count for themselves from there on.
struct Counter {
    int calls = 0;
    ProgressResult operator()(const Progress&) {
        return ++calls == 1 ? ProgressResult::CONTINUE : ProgressResult::CANCEL;
    }
};

// Tells when it is destroyed.
class ObservedStream : public std::istringstream {
public:
    explicit ObservedStream(bool& destroyed) : destroyed_(destroyed) {}
    ~ObservedStream() override { destroyed_ = true; }

private:
    bool& destroyed_;
};

// Refuses one header, and lists what is set.
class RefusingRequest : public HttpRequest {
public:
    explicit RefusingRequest(std::string refused, HttpHeaders headers = {})
        : HttpRequest(HttpMethod::POST, URL(BASE_URL), std::move(headers)),
          refused_(std::move(refused)) {}

    void setHeaderValue(const std::string& name, std::string value) override {
        if (name == refused_) throw std::runtime_error("refused " + name);
        headersSet += name + ": " + value + "\n";
        HttpRequest::setHeaderValue(name, std::move(value));
    }

    std::string headersSet;

private:
    std::string refused_;
};

// Who a request that lacks something is, and what it lacks.
std::string missing(const std::string& what) {
    return "Request for " + std::string(BASE_URL) + " does not have a " + what;
}

TEST(HttpRequest, HasTheMethodUrlAndHeadersItWasMadeOf) {
    const HttpRequest request(HttpMethod::PATCH, URL("x:y"), HttpHeaders{{"A", "1"}, {"a", "2"}});

    EXPECT_EQ(request.getHttpMethod(), HttpMethod::PATCH);
    EXPECT_EQ(request.getURL(), URL("x:y"));
    EXPECT_EQ(entryLines(request.getHeaders()), "A: 1\na: 2\n");
}

TEST(HttpRequest, BeginsWithoutBodyParametersConfigurationAndCallbacks) {
    HttpRequest request = get();

    EXPECT_TRUE(request.getQueryParameters().empty());
    EXPECT_FALSE(request.hasSimpleBody());
    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
    EXPECT_FALSE(request.hasMultipartBody());
    EXPECT_FALSE(request.hasClientConfiguration());
    EXPECT_FALSE(request.hasProgressCallback());
    EXPECT_FALSE(request.getPreRespCodeAndHeadersCallback());
    EXPECT_TRUE(request.getResponseStreamFactory());
}

TEST(HttpRequest, AppendsItsQueryParametersToTheUrl) {
    HttpRequest request = get();

    request.setQueryParameters({{"a", "1"}, {"b", "2"}});

    EXPECT_EQ(request.getURL(), URL("http://example.com/a?a=1&b=2"));
}

TEST(HttpRequest, AppendsQueryParametersAsTheyPrintThemselves) {
    HttpRequest request = get();

    request.setQueryParameters({{"q", "a b"}, {"flag", ""}});
    EXPECT_EQ(request.getURL(), URL("http://example.com/a?q=a%20b&flag"));

    request.setQueryParameters(NameValueCollection{{"", ""}});
    EXPECT_EQ(request.getURL(), URL("http://example.com/a?"));
}

TEST(HttpRequest, LeavesTheUrlAsItIsWithoutQueryParameters) {
    for (const std::string text : {"", "http://a", "http://a?", "http://a?b=c#d", "no url"}) {
        EXPECT_EQ(HttpRequest(HttpMethod::GET, URL(text), {}).getURL(), URL(text));
    }
}

TEST(HttpRequest, WritesASecondQuestionMarkBehindAUrlThatHasAQuery) {
    HttpRequest request(HttpMethod::GET, URL("http://a/?b=c"), {});

    request.setQueryParameters({{"d", "e"}});

    EXPECT_EQ(request.getURL(), URL("http://a/?b=c?d=e"));
}

TEST(HttpRequest, AppendsTheParametersOnceHoweverOftenItIsAsked) {
    HttpRequest request = get();
    request.setQueryParameters({{"a", "1"}});

    request.getURL();

    EXPECT_EQ(request.getURL(), URL("http://example.com/a?a=1"));
    request.setQueryParameters({});
    EXPECT_EQ(request.getURL(), URL(BASE_URL));
}

TEST(HttpRequest, ReplacesAllItsQueryParameters) {
    HttpRequest request = get();
    request.setQueryParameters({{"a", "1"}, {"b", "2"}});

    request.setQueryParameters({{"c", "3"}});

    EXPECT_EQ(request.getQueryParameters().toString(), "?c=3");
}

TEST(HttpRequest, HandsOutACopyOfItsQueryParameters) {
    HttpRequest request = get();
    request.setQueryParameters({{"a", "1"}});
    QueryParameters parameters = request.getQueryParameters();

    parameters.addQueryParameter("b", "2");

    EXPECT_EQ(request.getURL(), URL("http://example.com/a?a=1"));
}

TEST(HttpRequest, ReplacesItsHeadersAndReturnsItself) {
    HttpRequest request = get(HttpHeaders{{"A", "1"}});

    EXPECT_EQ(&request.withHeaders(HttpHeaders{{"B", "2"}}), &request);

    EXPECT_EQ(entryLines(request.getHeaders()), "B: 2\n");
}

TEST(HttpRequest, ReplacesItsHeadersThroughTheVirtualSetter) {
    struct Derived : HttpRequest {
        Derived() : HttpRequest(HttpMethod::GET, URL(), {}) {}
        void setHeaders(HttpHeaders) override { ++calls; }
        int calls = 0;
    } request;

    request.withHeaders(HttpHeaders{{"A", "1"}});

    EXPECT_EQ(request.calls, 1);
    EXPECT_EQ(entryLines(request.getHeaders()), "");
}

TEST(HttpRequestTextBody, IsReadFromItsStart) {
    HttpRequest request = get();

    request.setRequestBody(std::string("hello"));

    EXPECT_TRUE(request.hasSimpleBody());
    EXPECT_TRUE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBody().tellg(), std::streampos(0));
    EXPECT_EQ(request.getRequestBodyString(), "hello");
}

TEST(HttpRequestTextBody, StandsInAStringStreamForReadingAndWriting) {
    HttpRequest request = get();
    request.setRequestBody(std::string("hello"));

    auto* stream = dynamic_cast<std::iostream*>(&request.getRequestBody());

    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(*stream << "J");
    EXPECT_EQ(request.getRequestBodyString(), "Jello");
}

TEST(HttpRequestTextBody, GetsATypeAndItsLengthInBytes) {
    const std::vector<std::pair<std::string, std::string>> bodies = {
        {"hello", "5"}, {"", "0"}, {std::string("a\0b\r\n", 5), "5"}, {"\xC3\xA9", "2"}};
    for (const auto& [body, length] : bodies) {
        HttpRequest request = get();

        request.setRequestBody(body);

        EXPECT_EQ(entryLines(request.getHeaders()),
                  "Content-Type: text/plain\nContent-Length: " + length + "\n");
        EXPECT_TRUE(request.hasRequestBody());
        EXPECT_EQ(request.getRequestBodyString(), body);
    }
}

TEST(HttpRequestTextBody, GetsItsLengthInPlainDigitsUnderALocaleThatGroupsThem) {
    const GroupingLocale grouping;
    HttpRequest request = get();

    request.setRequestBody(std::string(1234567, 'x'));

    EXPECT_EQ(request.getHeaderValue("Content-Length"), "1234567");
    EXPECT_EQ(request.getContentLength(), 1234567);
}

TEST(HttpRequestTextBody, KeepsATypeThatIsThereAlready) {
    HttpRequest request = get(HttpHeaders{{"content-type", ""}});

    request.setRequestBody(std::string("{}"));

    EXPECT_EQ(entryLines(request.getHeaders()), "content-type: \nContent-Length: 2\n");
}

TEST(HttpRequestTextBody, KeepsALengthThatIsThereAlready) {
    HttpRequest request = get(HttpHeaders{{"content-length", "wrong"}});

    request.setRequestBody(std::string("hello"));

    EXPECT_EQ(entryLines(request.getHeaders()),
              "content-length: wrong\nContent-Type: text/plain\n");
}

TEST(HttpRequestTextBody, GetsNoLengthBesideATransferEncoding) {
    HttpRequest request = get(HttpHeaders{{"transfer-encoding", "chunked"}});

    request.setRequestBody(std::string("hello"));

    EXPECT_EQ(entryLines(request.getHeaders()),
              "transfer-encoding: chunked\nContent-Type: text/plain\n");
}

TEST(HttpRequestTextBody, KeepsBothALengthAndATransferEncoding) {
    HttpRequest request = get(HttpHeaders{
        {"Transfer-Encoding", "identity"}, {"Content-Length", "1"}, {"Content-Type", "a/b"}});

    request.setRequestBody(std::string("hello"));

    EXPECT_EQ(entryLines(request.getHeaders()),
              "Transfer-Encoding: identity\nContent-Length: 1\nContent-Type: a/b\n");
}

TEST(HttpRequestTextBody, KeepsTheLengthOfAnEarlierBody) {
    HttpRequest request = get();
    request.setRequestBody(std::string("hello"));

    request.setRequestBody(std::string("hi"));

    EXPECT_EQ(request.getContentLength(), 5);
    EXPECT_EQ(request.getRequestBodyString(), "hi");
}

TEST(HttpRequestTextBody, SetsItsHeadersThroughTheVirtualSetter) {
    RefusingRequest request("");

    request.setRequestBody(std::string("hello"));

    EXPECT_EQ(request.headersSet, "Content-Type: text/plain\nContent-Length: 5\n");
}

TEST(HttpRequestTextBody, DestroysThePreviousBody) {
    bool destroyed = false;
    HttpRequest request = get();
    request.setRequestBody(std::make_unique<ObservedStream>(destroyed));

    request.setRequestBody(std::string("hello"));

    EXPECT_TRUE(destroyed);
}

TEST(HttpRequestTextBody, LeavesTheRequestAsItWasIfAHeaderCannotBeSet) {
    for (const std::string refused : {"Content-Type", "Content-Length"}) {
        RefusingRequest request(refused, HttpHeaders{{"A", "1"}, {"B", "2"}});
        request.setRequestBody(streamOf("previous"));
        std::istream* const body = &request.getRequestBody();

        EXPECT_THAT([&] { request.setRequestBody(std::string("hello")); },
                    ThrowsExactly<std::runtime_error>("refused " + refused));

        EXPECT_EQ(&request.getRequestBody(), body);
        EXPECT_EQ(request.getRequestBodyString(), "previous");
        EXPECT_EQ(entryLines(request.getHeaders()), "A: 1\nB: 2\n") << refused;
        EXPECT_FALSE(request.hasHeader("Content-Type"));
    }
}

TEST(HttpRequestTextBody, LeavesTheCallersTypeAloneIfTheLengthCannotBeSet) {
    RefusingRequest request("Content-Length", HttpHeaders{{"Content-Type", "a/b"}});

    EXPECT_THROW(request.setRequestBody(std::string("hello")), std::runtime_error);

    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(entryLines(request.getHeaders()), "Content-Type: a/b\n");
}

TEST(HttpRequestStreamBody, IsTheStreamThatWasHandedOver) {
    HttpRequest request = get();
    auto stream = streamOf("hello");
    std::istream* const address = stream.get();

    request.setRequestBody(std::move(stream));

    EXPECT_TRUE(request.hasSimpleBody());
    EXPECT_TRUE(request.hasRequestBody());
    EXPECT_EQ(&request.getRequestBody(), address);
}

TEST(HttpRequestStreamBody, SetsNoHeader) {
    HttpRequest request = get(HttpHeaders{{"A", "1"}});

    request.setRequestBody(streamOf("hello"));

    EXPECT_EQ(entryLines(request.getHeaders()), "A: 1\n");
}

TEST(HttpRequestStreamBody, IsDestroyedByTheNextOneAndWithTheRequest) {
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    {
        HttpRequest request = get();
        request.setRequestBody(std::make_unique<ObservedStream>(firstDestroyed));
        EXPECT_FALSE(firstDestroyed);

        request.setRequestBody(std::make_unique<ObservedStream>(secondDestroyed));
        EXPECT_TRUE(firstDestroyed);
        EXPECT_FALSE(secondDestroyed);
    }
    EXPECT_TRUE(secondDestroyed);
}

TEST(HttpRequestStreamBody, IsRemovedByANullPointer) {
    bool destroyed = false;
    HttpRequest request = get();
    request.setRequestBody(std::make_unique<ObservedStream>(destroyed));

    request.setRequestBody(std::unique_ptr<std::istream>());

    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(request.hasSimpleBody());
    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
}

TEST(HttpRequestBodyString, IsWhatIsLeftToReadAndThenNothing) {
    HttpRequest request = get();
    request.setRequestBody(streamOf("hello world"));
    request.getRequestBody().seekg(6);

    EXPECT_EQ(request.getRequestBodyString(), "world");
    EXPECT_EQ(request.getRequestBodyString(), "");
    EXPECT_EQ(request.getRequestBody().rdbuf()->sgetc(), std::char_traits<char>::eof());
}

TEST(HttpRequestBodyString, HoldsEveryByteOfALargeBody) {
    std::string body;
    for (int i = 0; i < 100000; ++i) body += static_cast<char>(i % 256);
    HttpRequest request = get();

    request.setRequestBody(body);

    EXPECT_EQ(request.getRequestBodyString(), body);
}

TEST(HttpRequestBodyString, LeavesAnUntouchedTextReadAndItsWritePositionAsItWas) {
    auto owned = std::make_unique<std::stringstream>("hello");
    auto& stream = *owned;
    HttpRequest request(HttpMethod::POST, URL("http://a/"), {});
    request.setRequestBody(std::move(owned));
    stream << "J";

    EXPECT_EQ(request.getRequestBodyString(), "Jello");
    EXPECT_EQ(stream.tellg(), std::streampos(5));
    EXPECT_EQ(stream.tellp(), std::streampos(1));
    EXPECT_EQ(request.getRequestBodyString(), "");
}

TEST(HttpRequestBodyString, ReadsForeignMemoryThatAStringBufferWasGiven) {
    char memory[] = "foreign";
    std::stringbuf buffer(std::ios::in);
    buffer.pubsetbuf(memory, 7);
    HttpRequest request(HttpMethod::POST, URL("http://a/"), {});
    request.setRequestBody(std::make_unique<std::istream>(&buffer));

    EXPECT_EQ(request.getRequestBodyString(), "foreign");
    EXPECT_EQ(request.getRequestBodyString(), "");
}

TEST(HttpRequestBodyString, AsksABufferDerivedFromAStringBufferItself) {
    struct FixedBuffer : std::stringbuf {
        FixedBuffer() : std::stringbuf("taken", std::ios::in) { setg(text, text, text + 5); }
        char text[6] = "shown";
    } buffer;
    HttpRequest request(HttpMethod::POST, URL("http://a/"), {});
    request.setRequestBody(std::make_unique<std::istream>(&buffer));

    EXPECT_EQ(request.getRequestBodyString(), "shown");
}

TEST(HttpRequestBodyString, ReadsTheBufferWhateverTheStateOfTheStream) {
    HttpRequest request = get();
    request.setRequestBody(streamOf("hello"));
    request.getRequestBody().setstate(std::ios::eofbit | std::ios::failbit);

    EXPECT_EQ(request.getRequestBodyString(), "hello");
}

TEST(HttpRequestBodyString, IsEmptyForAStreamWithoutABuffer) {
    HttpRequest request = get();

    request.setRequestBody(std::make_unique<std::istream>(nullptr));

    EXPECT_TRUE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
}

TEST(HttpRequest, ThrowsAndLogsTheUrlWithoutParametersAndWhatItLacks) {
    HttpRequest request = get();
    request.setQueryParameters({{"secret", "1"}});

    expectFailureAndRecord<std::logic_error>(
        [&] { request.getRequestBody(); }, "Request for http://example.com/a does not have a body",
        LOG_MISUSE);
    expectFailureAndRecord<std::logic_error>(
        [&] { request.getProgressCallback(); },
        "Request for http://example.com/a does not have a ProgressCallback", LOG_MISUSE);
    expectFailureAndRecord<std::logic_error>(
        [&] { request.getClientConfiguration(); },
        "Request for http://example.com/a does not have a ClientConfiguration", LOG_MISUSE);
    EXPECT_EQ(request.getURL(), URL("http://example.com/a?secret=1"));
}

TEST(HttpRequestMultipartBody, KeepsItsPartsInOrder) {
    HttpRequest request = get();

    request.setMultipartBody(MultipartBody()
                                 .withPart(DataPart(PartHeader("b"), "1"))
                                 .withPart(FilePart(PartHeader("a"), "/f"))
                                 .withPart(DataPart(PartHeader("b"), "2")));

    EXPECT_TRUE(request.hasMultipartBody());
    EXPECT_EQ(partLines(request.getMultipartBody()), "data b 1\nfile a /f\ndata b 2\n");
}

TEST(HttpRequestMultipartBody, IsIndependentOfTheCallersAndOfTheOneHandedOut) {
    HttpRequest request = get();
    MultipartBody body = parts("1");
    request.setMultipartBody(body);
    MultipartBody handedOut = request.getMultipartBody();

    body.addPart(DataPart("2"));
    handedOut.addPart(DataPart("3"));

    EXPECT_EQ(partLines(request.getMultipartBody()), "data name 1\n");
}

TEST(HttpRequestMultipartBody, ReplacesTheEarlierParts) {
    HttpRequest request = get();
    request.setMultipartBody(parts("1").withPart(DataPart("more")));

    request.setMultipartBody(parts("2"));

    EXPECT_EQ(partLines(request.getMultipartBody()), "data name 2\n");
}

TEST(HttpRequestMultipartBody, WithoutPartsIsRefusedAndChangesNothing) {
    const LogCapture log;
    HttpRequest request = get();
    EXPECT_THAT([&] { request.setMultipartBody({}); },
                ThrowsExactly<std::logic_error>("Multipart body object is empty."));
    EXPECT_FALSE(request.hasMultipartBody());

    request.setMultipartBody(parts("1"));
    EXPECT_THAT([&] { request.setMultipartBody({}); },
                ThrowsExactly<std::logic_error>("Multipart body object is empty."));
    EXPECT_EQ(partLines(request.getMultipartBody()), "data name 1\n");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(HttpRequestMultipartBody, ThatWasNeverSetIsReportedWithoutARecord) {
    const LogCapture log;
    const HttpRequest request = get();

    EXPECT_THAT([&] { request.getMultipartBody(); },
                ThrowsExactly<std::logic_error>("Request does not have a multipart body."));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(HttpRequestMultipartBody, SetsNoHeaderAndCountsAsNoRequestBody) {
    HttpRequest request = get(HttpHeaders{{"A", "1"}});

    request.setMultipartBody(parts("1"));

    EXPECT_EQ(entryLines(request.getHeaders()), "A: 1\n");
    EXPECT_FALSE(request.hasSimpleBody());
    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
    EXPECT_THAT([&] { request.getRequestBody(); },
                ThrowsExactly<std::logic_error>(missing("body")));
}

TEST(HttpRequestMultipartBody, StandsBesideASimpleBody) {
    HttpRequest request = get();
    request.setRequestBody(std::string("simple"));
    request.setMultipartBody(parts("1"));
    EXPECT_EQ(request.getRequestBodyString(), "simple");

    request.setRequestBody(std::string("other"));
    EXPECT_EQ(partLines(request.getMultipartBody()), "data name 1\n");

    request.setRequestBody(std::unique_ptr<std::istream>());
    EXPECT_TRUE(request.hasMultipartBody());
}

TEST(HttpRequestProgressCallback, IsStoredReplacedAndCalledByWhoeverAsksForIt) {
    HttpRequest request = get();

    request.setProgressCallback([](const Progress&) { return ProgressResult::CANCEL; });
    EXPECT_TRUE(request.hasProgressCallback());
    EXPECT_EQ(request.getProgressCallback()({}), ProgressResult::CANCEL);

    EXPECT_EQ(&request.withProgressCallback([](const Progress& progress) {
        return progress.uploadNow == 4 ? ProgressResult::CONTINUE : ProgressResult::CANCEL;
    }),
              &request);
    EXPECT_EQ(request.getProgressCallback()({1, 2, 3, 4}), ProgressResult::CONTINUE);
}

TEST(HttpRequestProgressCallback, IsHandedOutAsACopy) {
    HttpRequest request = get();
    request.setProgressCallback(Counter());

    ProgressCallback first = request.getProgressCallback();
    first({});
    EXPECT_EQ(first({}), ProgressResult::CANCEL);

    EXPECT_EQ(request.getProgressCallback()({}), ProgressResult::CONTINUE);
}

TEST(HttpRequestProgressCallback, IsAbsentAgainOnceAnEmptyOneWasSet) {
    HttpRequest request = get();
    request.setProgressCallback(Counter());

    request.setProgressCallback(nullptr);

    EXPECT_FALSE(request.hasProgressCallback());
    EXPECT_THAT([&] { request.getProgressCallback(); },
                ThrowsExactly<std::logic_error>(missing("ProgressCallback")));

    request.withProgressCallback(Counter()).withProgressCallback(ProgressCallback());
    EXPECT_FALSE(request.hasProgressCallback());
}

TEST(HttpRequestStreamFactory, IsStoredAndReplaced) {
    HttpRequest request = get();
    request.setResponseStreamFactory([](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::stringstream>("first");
    });
    std::stringstream content;
    content << request.getResponseStreamFactory()(HttpResponseCode::OK, "", {})->rdbuf();
    EXPECT_EQ(content.str(), "first");

    EXPECT_EQ(&request.withResponseStreamFactory(
                  [](HttpResponseCode code, const std::string& reason, const HttpHeaders& headers) {
                      return std::make_unique<std::stringstream>(to_string(code) + reason +
                                                                 entryLines(headers));
                  }),
              &request);
    content.str("");
    content << request
                   .getResponseStreamFactory()(HttpResponseCode::NOT_FOUND, " gone ", {{"A", "1"}})
                   ->rdbuf();
    EXPECT_EQ(content.str(), "404 gone A: 1\n");
}

TEST(HttpRequestStreamFactory, MayBeEmpty) {
    HttpRequest request = get();

    request.setResponseStreamFactory(ResponseStreamFactory());
    EXPECT_FALSE(request.getResponseStreamFactory());

    request.setResponseStreamFactory(defaultResponseStreamFactory());
    EXPECT_FALSE(request.withResponseStreamFactory(nullptr).getResponseStreamFactory());
}

TEST(HttpRequestStreamFactory, KeepsBodiesInMemoryByDefault) {
    for (const ResponseStreamFactory& factory :
         {defaultResponseStreamFactory(), get().getResponseStreamFactory()}) {
        const auto stream = factory(HttpResponseCode::NOT_FOUND, "reason", {{"A", "1"}});

        auto* memory = dynamic_cast<std::stringstream*>(stream.get());
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(memory->str(), "");
        EXPECT_EQ(stream->tellp(), std::streampos(0));
        *stream << "written";
        std::string read;
        *stream >> read;
        EXPECT_EQ(read, "written");
    }
}

TEST(HttpRequestStreamFactory, MakesANewStreamAtEachCallByDefault) {
    const ResponseStreamFactory factory = defaultResponseStreamFactory();
    const auto first = factory(HttpResponseCode::OK, "", {});
    *first << "written";

    const auto second = factory(HttpResponseCode::OK, "", {});

    EXPECT_NE(first, second);
    EXPECT_EQ(dynamic_cast<std::stringstream&>(*second).str(), "");
}

TEST(HttpRequestPreResponseCallback, IsStoredReplacedAndHandedOutAsACopy) {
    HttpRequest request = get();
    std::string calls;
    request.setPreRespCodeAndHeadersCallback([&] { calls += "first "; });
    request.getPreRespCodeAndHeadersCallback()();

    const auto counting = [&calls, count = 0]() mutable { calls += std::to_string(++count); };
    EXPECT_EQ(&request.withPreRespCodeAndHeadersCallback(counting), &request);
    request.getPreRespCodeAndHeadersCallback()();
    request.getPreRespCodeAndHeadersCallback()();

    EXPECT_EQ(calls, "first 11");
}

TEST(HttpRequestPreResponseCallback, MayBeEmpty) {
    HttpRequest request = get();
    request.setPreRespCodeAndHeadersCallback([] {});

    request.setPreRespCodeAndHeadersCallback(nullptr);

    EXPECT_FALSE(request.getPreRespCodeAndHeadersCallback());
}

TEST(HttpRequest, RunsNoCallbackOfItsOwn) {
    HttpRequest request = get();
    int calls = 0;
    request.setPreRespCodeAndHeadersCallback([&] { ++calls; });
    request.setProgressCallback([&](const Progress&) {
        ++calls;
        return ProgressResult::CONTINUE;
    });
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        ++calls;
        return std::make_unique<std::stringstream>();
    });

    request.setHeaders(HttpHeaders{{"A", "1"}});
    request.setRequestBody(std::string("hello"));
    request.getRequestBodyString();
    const HttpRequest moved = std::move(request);

    EXPECT_EQ(calls, 0);
}

TEST(HttpRequestConfiguration, IsStoredAndReplaced) {
    HttpRequest request = get();

    request.setClientConfiguration(ClientConfiguration().withMaxRedirects(1));
    EXPECT_TRUE(request.hasClientConfiguration());
    EXPECT_EQ(request.getClientConfiguration().maxRedirects(), 1);

    EXPECT_EQ(&request.withClientConfiguration(ClientConfiguration().withMaxThreads(9)), &request);
    EXPECT_EQ(request.getClientConfiguration().maxRedirects(), 5);
    EXPECT_EQ(request.getClientConfiguration().maxThreads(), 9);
}

TEST(HttpRequestConfiguration, IsIndependentOfTheCallersAndOfTheOneHandedOut) {
    HttpRequest request = get();
    ClientConfiguration configuration = ClientConfiguration().withProxy("http://proxy");
    request.setClientConfiguration(configuration);
    ClientConfiguration handedOut = request.getClientConfiguration();

    configuration.setProxy("changed");
    handedOut.setProxy("changed too");

    EXPECT_EQ(request.getClientConfiguration().proxy(), "http://proxy");
}

// A request with everything a request can have.
HttpRequest fullRequest(std::unique_ptr<std::istream> body) {
    HttpRequest request(HttpMethod::PUT, URL(BASE_URL), HttpHeaders{{"A", "1"}});
    request.setQueryParameters({{"q", "1"}});
    request.setRequestBody(std::move(body));
    request.setMultipartBody(parts("part"));
    request.setResponseStreamFactory([](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::stringstream>("factory");
    });
    request.setPreRespCodeAndHeadersCallback([] { throw std::runtime_error("callback"); });
    request.setClientConfiguration(ClientConfiguration().withMaxRedirects(7));
    request.setProgressCallback([](const Progress&) { return ProgressResult::CANCEL; });
    return request;
}

TEST(HttpRequest, MovesEverythingItHas) {
    auto body = streamOf("body");
    std::istream* const address = body.get();
    HttpRequest source = fullRequest(std::move(body));

    HttpRequest request = std::move(source);

    EXPECT_EQ(request.getHttpMethod(), HttpMethod::PUT);
    EXPECT_EQ(request.getURL(), URL("http://example.com/a?q=1"));
    EXPECT_EQ(entryLines(request.getHeaders()), "A: 1\n");
    EXPECT_EQ(&request.getRequestBody(), address);
    EXPECT_EQ(partLines(request.getMultipartBody()), "data name part\n");
    EXPECT_EQ(dynamic_cast<std::stringstream&>(
                  *request.getResponseStreamFactory()(HttpResponseCode::OK, "", {}))
                  .str(),
              "factory");
    EXPECT_THAT(request.getPreRespCodeAndHeadersCallback(),
                ThrowsExactly<std::runtime_error>("callback"));
    EXPECT_EQ(request.getClientConfiguration().maxRedirects(), 7);
    EXPECT_EQ(request.getProgressCallback()({}), ProgressResult::CANCEL);
}

TEST(HttpRequest, IsEmptyOnceMovedFrom) {
    HttpRequest request = fullRequest(streamOf("body"));

    const HttpRequest moved = std::move(request);

    EXPECT_EQ(entryLines(request.getHeaders()), "");
    EXPECT_FALSE(request.hasHeader("A"));
    EXPECT_EQ(request.getURL(), URL());
    EXPECT_TRUE(request.getQueryParameters().empty());
    EXPECT_FALSE(request.hasSimpleBody());
    EXPECT_FALSE(request.hasRequestBody());
    EXPECT_EQ(request.getRequestBodyString(), "");
    EXPECT_FALSE(request.hasMultipartBody());
    EXPECT_FALSE(request.getResponseStreamFactory());
    EXPECT_FALSE(request.getPreRespCodeAndHeadersCallback());
    EXPECT_FALSE(request.hasClientConfiguration());
    EXPECT_FALSE(request.hasProgressCallback());
}

TEST(HttpRequest, FailsClearlyOnceMovedFrom) {
    HttpRequest request = fullRequest(streamOf("body"));
    const HttpRequest moved = std::move(request);

    EXPECT_THAT([&] { request.getRequestBody(); },
                ThrowsExactly<std::logic_error>("Request for  does not have a body"));
    EXPECT_THAT([&] { request.getMultipartBody(); },
                ThrowsExactly<std::logic_error>("Request does not have a multipart body."));
    EXPECT_THAT(
        [&] { request.getClientConfiguration(); },
        ThrowsExactly<std::logic_error>("Request for  does not have a ClientConfiguration"));
    EXPECT_THAT([&] { request.getProgressCallback(); },
                ThrowsExactly<std::logic_error>("Request for  does not have a ProgressCallback"));
    EXPECT_THAT([&] { request.getHeaderValue("A"); },
                ThrowsExactly<std::out_of_range>("A not found."));
}

TEST(HttpRequest, IsUsableOnceMovedFrom) {
    HttpRequest request = fullRequest(streamOf("body"));
    const HttpRequest moved = std::move(request);

    request.addHeader("B: 2");
    request.setQueryParameters({{"p", "2"}});
    request.setRequestBody(std::string("hello"));
    request.setMultipartBody(parts("again"));
    request.setResponseStreamFactory(defaultResponseStreamFactory());
    request.setPreRespCodeAndHeadersCallback([] {});
    request.setClientConfiguration({});
    request.setProgressCallback(Counter());

    EXPECT_EQ(request.getURL(), URL("?p=2"));
    EXPECT_EQ(entryLines(request.getHeaders()),
              "B: 2\nContent-Type: text/plain\nContent-Length: 5\n");
    EXPECT_EQ(request.getRequestBodyString(), "hello");
    EXPECT_EQ(partLines(request.getMultipartBody()), "data name again\n");
    EXPECT_TRUE(request.getResponseStreamFactory());
    EXPECT_TRUE(request.getPreRespCodeAndHeadersCallback());
    EXPECT_TRUE(request.hasClientConfiguration());
    EXPECT_TRUE(request.hasProgressCallback());
}

TEST(HttpRequest, MovesOnFromAMovedFromRequest) {
    HttpRequest request = fullRequest(streamOf("body"));
    const HttpRequest moved = std::move(request);

    HttpRequest empty = std::move(request);

    EXPECT_FALSE(empty.hasRequestBody());
    EXPECT_FALSE(empty.hasMultipartBody());
    EXPECT_EQ(entryLines(empty.getHeaders()), "");
}

TEST(HttpRequest, EndsItsBodyWhenDestroyedAsAMessage) {
    bool destroyed = false;
    auto request = std::make_unique<HttpRequest>(get());
    request->setRequestBody(std::make_unique<ObservedStream>(destroyed));
    std::unique_ptr<HttpMessage> message = std::move(request);

    message.reset();

    EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace tavrin::httpclient_core
