#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/child.h"
#include "support/owning_stream.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

class RequestBodies : public OnBothRoads {
protected:
    // What comes of a POST of this text with these framing fields.
    std::string failureOfPost(const std::string& url, const std::string& body,
                              HttpHeaders headers) {
        HttpRequest request(HttpMethod::POST, URL(url), std::move(headers));
        request.setRequestBody(std::make_unique<std::stringstream>(body));
        return failureOf([&] { send(CurlHttpClient(once()), std::move(request)); });
    }
};
ON_BOTH_ROADS(RequestBodies);

TEST_P(RequestBodies, GoOutWithoutWaitingForPermission) {
    FaultServer server("no100");
    const std::string body(3000000, 'x');
    const auto start = std::chrono::steady_clock::now();

    for (const HttpMethod method : {HttpMethod::POST, HttpMethod::PUT, HttpMethod::PATCH}) {
        HttpResponse response = send(CurlHttpClient(), withBody(method, server.url(), body));
        EXPECT_EQ(response.getResponseBodyString(), server.requests().back().bodySha256);
        EXPECT_EQ(server.requests().back().bodySize, body.size());
    }

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
}

TEST_P(RequestBodies, AreChunkedWhenAskedTo) {
    FaultServer server;
    for (const std::size_t size : {std::size_t(0), std::size_t(5), std::size_t(1000000)}) {
        HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Transfer-Encoding", "Chunked"}});
        request.setRequestBody(std::make_unique<std::stringstream>(std::string(size, 'c')));

        send(CurlHttpClient(once()), std::move(request));

        const ReceivedRequest received = server.requests().back();
        EXPECT_EQ(received.header("Transfer-Encoding"), "chunked");
        EXPECT_FALSE(received.header("Content-Length"));
        EXPECT_EQ(received.bodySize, size);
        EXPECT_TRUE(received.bodyComplete);
    }
}

TEST_P(RequestBodies, AreChunkedOnAConnectionThatAnsweredInAnOlderVersionToo) {
    httpclient_testing::FaultStep older;
    older.statusLine = "HTTP/1.0 200 OK";
    older.headers = {{"Connection", "keep-alive"}};
    FaultServer server;
    FaultServer redirecting("307:" + server.url("/there"));
    const CurlHttpClient client(once());
    for (const std::string& url : {server.url(), redirecting.url()}) {
        server.setPlan(httpclient_testing::FaultPlan({older, {}}));
        send(client, get(server.url("/bytes/1")));

        send(client, withBody(HttpMethod::PUT, url, "body", {{"Transfer-Encoding", "chunked"}}));

        EXPECT_EQ(server.requests().back().body, "body") << url;
    }
}

TEST_P(RequestBodies, WithIdentityGoByTheirLength) {
    FaultServer server;
    EXPECT_EQ(failureOfPost(server.url(), "text",
                            {{"Content-Length", "4"}, {"Transfer-Encoding", "identity"}}),
              "");
    EXPECT_FALSE(server.requests()[0].header("Transfer-Encoding"));
    EXPECT_EQ(server.requests()[0].countHeader("Content-Length"), 1u);
}

TEST_P(RequestBodies, WithAmbiguousFramingAreRefused) {
    FaultServer server;
    for (const char* length :
         {"12abc", "-5", "+5", " 5", "5 ", "", "0x5", "99999999999999999999"}) {
        EXPECT_EQ(failureOfPost(server.url(), "12345", {{"Content-Length", length}}),
                  "Request refused: Content-Length is not a plain number")
            << length;
    }
    EXPECT_EQ(
        failureOfPost(server.url(), "12345", {{"Content-Length", "5"}, {"content-length", "5"}}),
        "Request refused: Content-Length stands more than once");
    for (const char* coding : {"chunked, identity", "gzip", "gzip, chunked", ""}) {
        EXPECT_EQ(failureOfPost(server.url(), "12345", {{"Transfer-Encoding", coding}}),
                  "Request refused: Transfer-Encoding is neither chunked nor identity");
    }
    EXPECT_EQ(failureOfPost(server.url(), "12345",
                            {{"Transfer-Encoding", "chunked"}, {"Transfer-Encoding", "chunked"}}),
              "Request refused: Transfer-Encoding stands more than once");
    EXPECT_EQ(
        failureOfPost(server.url(), "12345", {{"Transfer-Encoding", "identity"}}),
        "Request refused: the body has neither a Content-Length nor a chunked Transfer-Encoding");
    EXPECT_EQ(failureOf([&] {
                  send(CurlHttpClient(once()),
                       HttpRequest(HttpMethod::POST, URL(server.url()), {{"Content-Length", "5"}}));
              }),
              "Request refused: Content-Length announces a body that is not there");
    EXPECT_EQ(failureOf([&] {
                  send(CurlHttpClient(once()), withBody(HttpMethod::HEAD, server.url(), "x"));
              }),
              "Request refused: a HEAD request has no body");
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(RequestBodies, ThatAreNotThereMayBeAnnouncedAsEmpty) {
    FaultServer server;
    const CurlHttpClient client(once());
    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::POST}) {
        const HttpResponse response =
            send(client, HttpRequest(method, URL(server.url()), {{"Content-Length", "0"}}));

        EXPECT_TRUE(httpclient_core::isSuccess(response));
        EXPECT_EQ(server.requests().back().bodySize, 0u);
    }
}

TEST_P(RequestBodies, ShorterThanAnnouncedFailAndCloseTheConnection) {
    FaultServer server;
    const CurlHttpClient client(once());
    for (const std::string body : {"", "12345", "123456789"}) {
        EXPECT_EQ(failureOfPost(server.url(), body, {{"Content-Length", "10"}}),
                  "Request to " + hostOf(server) + " failed: request body: it ended after " +
                      std::to_string(body.size()) + " of 10 bytes");
    }
    for (const auto& request : server.requests()) EXPECT_FALSE(request.bodyComplete);
}

TEST_P(RequestBodies, LongerThanAnnouncedFailBeforeTheyAreComplete) {
    FaultServer server;
    const CurlHttpClient client(once());
    const auto post = [&](const std::string& body, const std::string& length) {
        HttpRequest request(HttpMethod::POST, URL(server.url()), {{"Content-Length", length}});
        request.setRequestBody(std::make_unique<std::stringstream>(body));
        return failureOf([&] { send(client, std::move(request)); });
    };
    for (const auto& [size, length] : {std::pair{20, "10"}, {1, "0"}, {300000, "200000"}}) {
        EXPECT_EQ(post(std::string(static_cast<std::size_t>(size), 'p'), length),
                  "Request to " + hostOf(server) +
                      " failed: request body: it is longer than its Content-Length of " + length +
                      " bytes");
    }

    send(client, get(server.url("/ok")));

    // An upload that broke off may be logged later than a request that came after it.
    int downloads = 0;
    for (const auto& request : server.requests()) {
        if (request.target == "/ok") {
            EXPECT_EQ(request.method, "GET");
            ++downloads;
        } else {
            EXPECT_EQ(request.method, "POST");
            EXPECT_FALSE(request.bodyComplete);
        }
    }
    EXPECT_EQ(downloads, 1);
}

// A body that does what `next` does each time that it is asked for more.
class ScriptedBuffer : public std::streambuf {
public:
    explicit ScriptedBuffer(std::function<std::string()> next) : next_(std::move(next)) {}

private:
    int_type underflow() override {
        text_ = next_();
        if (text_.empty()) return traits_type::eof();
        setg(text_.data(), text_.data(), text_.data() + text_.size());
        return traits_type::to_int_type(text_[0]);
    }
    std::function<std::string()> next_;
    std::string text_;
};

using ScriptedStream = httpclient_core::test::OwningStream<std::istream, ScriptedBuffer>;

struct Mine : std::runtime_error {
    using std::runtime_error::runtime_error;
};

TEST_P(RequestBodies, ThatThrowFailWithTheirOwnException) {
    FaultServer server;
    HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "10"}});
    request.setRequestBody(
        std::make_unique<ScriptedStream>([]() -> std::string { throw Mine("the disk is gone"); }));
    EXPECT_EQ(failureOf<Mine>([&] { send(CurlHttpClient(once()), std::move(request)); }),
              "the disk is gone");
}

TEST_P(RequestBodies, LongerThanAnnouncedUnnoticedGoOutUpToTheirLength) {
    FaultServer server;
    std::vector<std::string> pieces{"tail", "ten bytes!"};
    HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "10"}});
    // Its buffer does not tell what it has before it is asked for it.
    request.setRequestBody(std::make_unique<ScriptedStream>([&pieces]() -> std::string {
        if (pieces.empty()) return "";
        std::string next = std::move(pieces.back());
        pieces.pop_back();
        return next;
    }));

    EXPECT_EQ(send(CurlHttpClient(once()), std::move(request)).getResponseCode(),
              HttpResponseCode::OK);

    EXPECT_EQ(server.requests().at(0).body, "ten bytes!");
    EXPECT_EQ(pieces, std::vector<std::string>{"tail"});
}

TEST_P(RequestBodies, ThatAreNotGoodFromTheStartFail) {
    FaultServer server;
    for (const std::ios::iostate state : {std::ios::badbit, std::ios::failbit, std::ios::eofbit}) {
        HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "4"}});
        auto stream = std::make_unique<std::stringstream>("text");
        stream->setstate(state);
        request.setRequestBody(std::move(stream));
        std::vector<std::string> failures;
        const auto noting = [&](const auto&, const auto&, const std::exception_ptr& error,
                                int total, int) {
            failures.push_back(failureOf([&] { std::rethrow_exception(error); }));
            return total < 2;
        };
        failureOf([&] {
            send(CurlHttpClient(ClientConfiguration().withRetryStrategy(noting)),
                 std::move(request));
        });
        // Whatever state the frame's rewinding leaves it in, nobody knows where it began.
        const std::string beginning = "Request to " + hostOf(server) + " failed: request body: ";
        EXPECT_THAT(failures,
                    testing::ElementsAre(beginning + "its stream is not good",
                                         beginning + "its stream cannot go back to be sent again"));
    }
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(RequestBodies, ThatAreBadFromTheStartAndTellNoPositionAreNeverSent) {
    FaultServer server;
    for (const HttpHeaders& framing :
         {HttpHeaders{{"Content-Length", "4"}}, HttpHeaders{{"Transfer-Encoding", "chunked"}}}) {
        HttpRequest request(HttpMethod::PUT, URL(server.url()), framing);
        auto stream = std::make_unique<ScriptedStream>([] { return "text"; });
        stream->setstate(std::ios::badbit);
        request.setRequestBody(std::move(stream));

        EXPECT_THAT(failureOf([&] { send(CurlHttpClient(stubborn(3)), std::move(request)); }),
                    HasSubstr("request body: its stream cannot go back to be sent again"));
    }
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(RequestBodies, WithoutABufferFail) {
    FaultServer server;
    HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "4"}});
    request.setRequestBody(std::make_unique<std::istream>(nullptr));

    EXPECT_EQ(failureOf([&] { send(CurlHttpClient(once()), std::move(request)); }),
              "Request to " + hostOf(server) + " failed: request body: its stream has no buffer");
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(RequestBodies, GoAgainWholeFromWhereTheyBegan) {
    for (const std::streamoff start : {0, 100}) {
        FaultServer server("503,urst@500,503,ok");
        std::string text(5000, 'a');
        for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
        auto stream = std::make_unique<std::stringstream>(text);
        stream->seekg(start);
        HttpRequest request(HttpMethod::PUT, URL(server.url()),
                            {{"Content-Length", std::to_string(5000 - start)}});
        request.setRequestBody(std::move(stream));

        HttpResponse response = send(CurlHttpClient(stubborn()), std::move(request));

        const std::string expected = httpclient_testing::sha256Hex(text.substr(start));
        EXPECT_EQ(response.getResponseBodyString(), expected);
        EXPECT_EQ(server.requests().front().bodySha256, expected);
    }
}

TEST_P(RequestBodies, ThatCannotGoBackFailTheirNextAttempt) {
    FaultServer server("503,ok");
    bool given = false;
    HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "4"}});
    request.setRequestBody(std::make_unique<ScriptedStream>(
        [&given] { return std::exchange(given, true) ? "" : "text"; }));
    EXPECT_THAT(failureOf([&] { send(CurlHttpClient(stubborn(2)), std::move(request)); }),
                HasSubstr("its stream cannot go back to be sent again"));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_P(RequestBodies, ThatCannotGoBackButWereNotReadYetGoOn) {
    FaultServer server;
    server.refuseConnections();
    bool given = false;
    HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "4"}});
    request.setRequestBody(std::make_unique<ScriptedStream>(
        [&given] { return std::exchange(given, true) ? "" : "text"; }));
    int attempts = 0;
    const auto strategy = [&](const HttpRequest&, const HttpResponse&,
                              const std::exception_ptr& error, int total, int) {
        attempts = total;
        server.acceptAgain();
        return error != nullptr && total < 2;
    };
    const CurlHttpClient client(ClientConfiguration().withRetryStrategy(strategy));

    EXPECT_EQ(failureOf([&] { send(client, std::move(request)); }), "");

    EXPECT_EQ(attempts, 2);
    EXPECT_EQ(server.requests().at(0).body, "text");
}

TEST_P(RequestBodies, ThatCannotGoBackButAreEmptyGoOn) {
    for (const char* plan : {"503,ok", "307:/there,ok"}) {
        FaultServer server(plan);
        HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "0"}});
        request.setRequestBody(std::make_unique<ScriptedStream>([] { return ""; }));

        const HttpResponse response = send(CurlHttpClient(stubborn(2)), std::move(request));

        EXPECT_TRUE(isSuccess(response)) << plan;
    }
}

TEST_P(RequestBodies, OfHugeStreamsGoOutWhole) {
    FaultServer server;
    constexpr std::int64_t SIZE = std::int64_t(1) << 28;
    std::int64_t left = SIZE;
    HttpRequest request(HttpMethod::PUT, URL(server.url()),
                        {{"Content-Length", std::to_string(SIZE)}});
    request.setRequestBody(std::make_unique<ScriptedStream>([&left] {
        const std::int64_t count = std::min<std::int64_t>(left, 100000);
        left -= count;
        return std::string(static_cast<std::size_t>(count), 'h');
    }));
    send(CurlHttpClient(once()), std::move(request));
    EXPECT_EQ(server.requests().at(0).bodySize, static_cast<std::uint64_t>(SIZE));
}

TEST_P(RequestBodies, MeetEarlyAnswers) {
    const std::string body(2000000, 'e');
    for (const char* plan : {"early@0:413", "early@1000:413", "early@1000000:413"}) {
        FaultServer server(plan);
        HttpResponse response =
            send(CurlHttpClient(once()), withBody(HttpMethod::POST, server.url(), body));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::CONTENT_TOO_LARGE) << plan;
        EXPECT_EQ(server.requests().size(), 1u);
    }
    for (const char* plan : {"early@0:413:rst", "early@1000:413:rst", "early@1000000:413:rst"}) {
        FaultServer server(plan);
        HttpResponse response;
        const std::string text = failureOf([&] {
            response = send(CurlHttpClient(once()), withBody(HttpMethod::POST, server.url(), body));
        });
        EXPECT_TRUE(!text.empty() ||
                    response.getResponseCode() == HttpResponseCode::CONTENT_TOO_LARGE)
            << plan;
        EXPECT_EQ(server.requests().size(), 1u);
    }
}

TEST_P(RequestBodies, WithExpectGoOnWithoutAnAnswerAndWithoutItAfterARefusal) {
    const auto post = [&](const std::string& url) {
        return send(CurlHttpClient(once()),
                    withBody(HttpMethod::POST, url, "text", {{"Expect", "100-continue"}}));
    };
    FaultServer silent("no100");
    EXPECT_EQ(post(silent.url()).getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(silent.requests().at(0).body, "text");
    FaultServer refusing("e417");
    EXPECT_EQ(post(refusing.url()).getResponseCode(), HttpResponseCode::OK);
    EXPECT_FALSE(refusing.requests().at(1).header("Expect"));
    EXPECT_EQ(refusing.requests().at(1).body, "text");
    FaultServer late("delay100:50");
    EXPECT_EQ(post(late.url()).getResponseCode(), HttpResponseCode::OK);
}

TEST_P(RequestBodies, WithExpectMeetEarlyAnswers) {
    const HttpHeaders asking{{"Expect", "100-continue"}};
    const std::string body(2000000, 'e');
    for (const std::string after : {"early@0:413", "early@1000:413", "early@1000000:413"}) {
        FaultServer polite(after);
        const HttpResponse response =
            send(CurlHttpClient(once()), withBody(HttpMethod::POST, polite.url(), body, asking));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::CONTENT_TOO_LARGE) << after;
        EXPECT_EQ(polite.requests().size(), 1u);

        FaultServer rude(after + ":rst");
        int code = 413;
        const std::string text = failureOf([&] {
            code = static_cast<int>(
                send(CurlHttpClient(once()), withBody(HttpMethod::POST, rude.url(), body, asking))
                    .getResponseCode());
        });
        EXPECT_TRUE(!text.empty() || code == 413) << after;
        EXPECT_EQ(rude.requests().size(), 1u);
    }
}

TEST_P(RequestBodies, CutByTheServerFail) {
    const std::string body(3000000, 'u');
    for (const char* plan : {"urst@0", "urst@1000", "ufin@1000", "ufin@2000000", "urst@2000000"}) {
        FaultServer server(plan);
        EXPECT_NE(failureOf([&] {
                      send(CurlHttpClient(once()), withBody(HttpMethod::PUT, server.url(), body));
                  }),
                  "")
            << plan;
    }
    FaultServer server("ustall@1000");
    EXPECT_EQ(failureOf<HttpRequestTimeoutException>([&] {
                  send(CurlHttpClient(once().withIdleTimeout(300)),
                       withBody(HttpMethod::PUT, server.url(), std::string(30000000, 'u')));
              }),
              "Request timed out.");
}

TEST_P(RequestBodies, ArePostedOnceOrFail) {
    for (const char* plan : {"rstnext,ok", "finnext,ok", "silentclose,ok"}) {
        FaultServer server(plan);
        const CurlHttpClient client(once());
        send(client, get(server.url("/bytes/1")));
        HttpResponse response;
        for (const std::string body : {"text", ""}) {
            server.setPlan(plan);
            server.forgetRequests();
            failureOf([&] { send(client, get(server.url("/bytes/1"))); });
            failureOf(
                [&] { response = send(client, withBody(HttpMethod::POST, server.url(), body)); });
            int posts = 0;
            for (const auto& request : server.requests()) posts += request.method == "POST";
            EXPECT_LE(posts, 1) << plan;
        }
    }
}

TEST_P(RequestBodies, OfGetsAreSentOnceMoreOnADeadConnection) {
    for (const char* plan : {"rstnext,ok", "finnext,ok", "silentclose,ok"}) {
        FaultServer server(plan);
        const CurlHttpClient client(once());
        send(client, get(server.url("/bytes/1")));
        EXPECT_EQ(send(client, get(server.url("/bytes/2"))).getContentLength(), 2) << plan;
    }
}

// --- Multipart bodies ---

class MultipartBodies : public RequestBodies {
protected:
    std::string file(const std::string& name, const std::string& text) const {
        httpclient_core::test::writeFile(directory_.file(name), text);
        return directory_.file(name);
    }

    static HttpRequest form(const std::string& url, MultipartBody body) {
        HttpRequest request(HttpMethod::POST, URL(url), {});
        request.setMultipartBody(std::move(body));
        return request;
    }

    static std::string boundaryOf(const ReceivedRequest& request) {
        const std::string type = request.header("Content-Type").value();
        EXPECT_EQ(type.substr(0, 30), "multipart/form-data; boundary=");
        return type.substr(30);
    }

    const httpclient_core::test::TemporaryDirectory directory_;
};
ON_BOTH_ROADS(MultipartBodies);

TEST_P(MultipartBodies, HaveTheirPartsInOrderAsGiven) {
    FaultServer server;
    MultipartBody body;
    body.addPart(DataPart(PartHeader("field"), std::string("va\0lue", 6)));
    body.addPart(DataPart(
        PartHeader("typed", "text/plain; charset=utf-8").withCustomHeaderValue("X-Part", "1"), ""));
    body.addPart(FilePart(PartHeader("file", "image/png"), file("a.png", "PNG!")));
    body.addPart(FilePart(PartHeader("empty"), file("empty.bin", "")));
    HttpRequest request = form(server.url(), body);
    request.setContentType("text/plain");

    send(CurlHttpClient(once()), std::move(request));

    const ReceivedRequest received = server.requests().at(0);
    const std::string line = "--" + boundaryOf(received);
    EXPECT_EQ(received.body,
              line + "\r\nContent-Disposition: form-data; name=\"field\"\r\n\r\n" +
                  std::string("va\0lue", 6) + "\r\n" + line +
                  "\r\nContent-Disposition: form-data; name=\"typed\"\r\n"
                  "Content-Type: text/plain; charset=utf-8\r\nX-Part: 1\r\n\r\n\r\n" +
                  line +
                  "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a.png\"\r\n"
                  "Content-Type: image/png\r\n\r\nPNG!\r\n" +
                  line +
                  "\r\nContent-Disposition: form-data; name=\"empty\"; "
                  "filename=\"empty.bin\"\r\n\r\n\r\n" +
                  line + "--\r\n");
    EXPECT_EQ(received.header("Content-Length"), std::to_string(received.body.size()));
    EXPECT_EQ(received.countHeader("Content-Type"), 1u);
}

TEST_P(MultipartBodies, TakeWhatAPartSaysOfItselfForWhatIsMadeOtherwise) {
    FaultServer server;
    const PartHeader header = PartHeader("field", "text/plain")
                                  .withCustomHeaderValue("content-type", "text/css")
                                  .withCustomHeaderValue("content-disposition", "inline");
    const MultipartBody body = MultipartBody().withPart(DataPart(header, "value"));

    send(CurlHttpClient(once()), form(server.url(), body));

    EXPECT_THAT(server.requests().at(0).body,
                MatchesRegex("--[^\r]*\r\ncontent-type: text/css\r\n"
                             "content-disposition: inline\r\n\r\nvalue\r\n--[^\r]*--\r\n"));
}

TEST_P(MultipartBodies, MayHavePartsWithoutANameAndFieldsMoreThanOnce) {
    FaultServer server;
    const PartHeader header = PartHeader("")
                                  .withCustomHeaderValue("X-Twice", "1")
                                  .withCustomHeaderValue("x-twice", "2")
                                  .withCustomHeaderValue("X-Empty", "");

    send(CurlHttpClient(once()),
         form(server.url(), MultipartBody().withPart(DataPart(header, "value"))));

    EXPECT_THAT(
        server.requests().at(0).body,
        MatchesRegex("--[^\r]*\r\nContent-Disposition: form-data; name=\"\"\r\n"
                     "X-Twice: 1\r\nx-twice: 2\r\nX-Empty: \r\n\r\nvalue\r\n--[^\r]*--\r\n"));
}

TEST_P(MultipartBodies, AreFramedByWhatTheyAreWhateverTheRequestSays) {
    for (const auto& framing :
         {HttpHeaders{{"Content-Length", "5"}}, HttpHeaders{{"Transfer-Encoding", "chunked"}}}) {
        FaultServer server;
        HttpRequest request = form(server.url(), MultipartBody().withPart(DataPart("value")));
        request.setHeaders(framing);

        send(CurlHttpClient(once()), std::move(request));

        const ReceivedRequest received = server.requests().at(0);
        EXPECT_THAT(received.body, HasSubstr("\r\n\r\nvalue\r\n--"));
        EXPECT_EQ(received.header("Content-Length"), std::to_string(received.body.size()));
        EXPECT_EQ(received.countHeader("Content-Length"), 1u);
        EXPECT_FALSE(received.header("Transfer-Encoding"));
    }
}

TEST_P(MultipartBodies, HaveBoundariesThatNobodyGuesses) {
    FaultServer server;
    const CurlHttpClient client(once());
    std::set<std::string> boundaries;
    std::set<char> digits;
    for (int i = 0; i < 20; ++i) {
        send(client, form(server.url(), MultipartBody().withPart(DataPart("text"))));
        const std::string boundary = boundaryOf(server.requests().back());
        EXPECT_THAT(boundary, MatchesRegex("-{24}[0-9a-f]{30}"));
        boundaries.insert(boundary);
        digits.insert(boundary.begin() + 24, boundary.end());
    }
    EXPECT_EQ(boundaries.size(), 20u);
    EXPECT_EQ(digits.size(), 16u);
}

// What one process could guess of its own boundaries, its twin could too.
TEST_P(MultipartBodies, HaveOtherBoundariesInATwinOfTheProcess) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server;
    for (int i = 0; i < 2; ++i) {
        test::inChild([&] {
            send(CurlHttpClient(once()),
                 form(server.url(), MultipartBody().withPart(DataPart("text"))));
            return 0;
        });
    }
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_NE(boundaryOf(requests[0]), boundaryOf(requests[1]));
}

TEST_P(MultipartBodies, QuoteNamesSafely) {
    FaultServer server;
    MultipartBody body;
    body.addPart(DataPart(PartHeader("a\"b\r\nX-Evil: 1\\"), "1"));
    body.addPart(FilePart(PartHeader("f"), file("q\"\r\nuote.txt", "2")));

    send(CurlHttpClient(once()), form(server.url(), body));

    const std::string received = server.requests().at(0).body;
    EXPECT_THAT(received, HasSubstr("name=\"a%22b%0D%0AX-Evil: 1\\\"\r\n"));
    EXPECT_THAT(received, HasSubstr("filename=\"q%22%0D%0Auote.txt\"\r\n"));
}

TEST_P(MultipartBodies, WithWhatCannotBeWrittenAreRefused) {
    FaultServer server;
    const auto refusal = [&](MultipartBody body) {
        return failureOf(
            [&] { send(CurlHttpClient(once()), form(server.url(), std::move(body))); });
    };
    EXPECT_EQ(refusal(MultipartBody().withPart(DataPart(PartHeader(std::string("a\0b", 3)), "1"))),
              "Request refused: the name of a part contains NUL");
    EXPECT_EQ(refusal(MultipartBody().withPart(
                  DataPart(PartHeader("a", "text/plain\r\nX-Evil: 1"), "1"))),
              "Request refused: the value of the part header Content-Type contains CR, LF or NUL");
    EXPECT_EQ(refusal(MultipartBody().withPart(
                  DataPart(PartHeader("a").withCustomHeaderValue("X Y", "1"), "1"))),
              "Request refused: the name of a part header is not a token");
    HttpRequest both = form(server.url(), MultipartBody().withPart(DataPart("1")));
    both.setRequestBody("text");
    EXPECT_EQ(failureOf([&] { send(CurlHttpClient(once()), std::move(both)); }),
              "Request refused: it has both a simple and a multipart body");
    EXPECT_THAT(refusal(MultipartBody().withPart(FilePart(directory_.file("absent")))),
                HasSubstr("absent: No such file or directory"));
    EXPECT_EQ(refusal(MultipartBody().withPart(
                  FilePart(file("other", "text") + std::string("\0/named.txt", 11)))),
              "Request refused: the path of a file contains NUL");
    EXPECT_EQ(refusal(MultipartBody().withPart(FilePart(directory_.path().string()))),
              "Request to " + hostOf(server) + " failed: request body: file " +
                  directory_.path().string() + " is not a regular file");
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(MultipartBodies, WithAFileThatMayNotBeReadAreRefused) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server;
    const std::string path = file("unreadable", "text");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    std::filesystem::permissions(directory_.path(), std::filesystem::perms::all);

    const int code = test::inChild([&] {
        constexpr uid_t NOBODY = 65534;
        if (geteuid() == 0 && setuid(NOBODY) != 0) return 1;
        const std::string failure = failureOf([&] {
            send(CurlHttpClient(once()),
                 form(server.url(), MultipartBody().withPart(FilePart(path))));
        });
        return failure == "Request to " + hostOf(server) + " failed: request body: file " + path +
                              " cannot be opened"
                   ? 0
                   : 2;
    });

    EXPECT_EQ(code, 0);
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST_P(MultipartBodies, GoAgainWholeAfterAFailureAndARedirect) {
    FaultServer server("307:/there,urst@2000,503,ok");
    const std::string content(500000, 'm');
    send(CurlHttpClient(stubborn()), form(server.url(), MultipartBody().withPart(FilePart(
                                                            PartHeader("f"), file("m", content)))));
    const ReceivedRequest last = server.requests().back();
    EXPECT_TRUE(last.bodyComplete);
    EXPECT_GT(last.bodySize, content.size());
    EXPECT_EQ(last.method, "POST");
}

TEST_P(MultipartBodies, WhoseFileVanishesBetweenAttemptsFail) {
    FaultServer server("503,ok");
    const std::string path = file("gone", "text");
    ClientConfiguration configuration;
    configuration.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int total, int) {
            std::filesystem::remove(path);
            return total < 2;
        });
    EXPECT_THAT(failureOf([&] {
                    send(CurlHttpClient(configuration),
                         form(server.url(), MultipartBody().withPart(FilePart(path))));
                }),
                HasSubstr("request body: file " + path + ": No such file or directory"));
}

TEST_P(MultipartBodies, WhoseFileGrowsBetweenAttemptsSendWhatItIsThen) {
    FaultServer server("503,ok");
    const std::string path = file("grows", "text");
    ClientConfiguration configuration;
    configuration.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int total, int) {
            std::ofstream(path, std::ios::app) << " and more";
            return total < 2;
        });
    send(CurlHttpClient(configuration),
         form(server.url(), MultipartBody().withPart(FilePart(path))));
    EXPECT_THAT(server.requests().back().body, HasSubstr("\r\n\r\ntext and more\r\n"));
}

TEST_P(MultipartBodies, WhoseFilesChangeWhileTheyAreSentFail) {
    constexpr std::uintmax_t SIZE = std::uintmax_t{40} << 20;
    const std::string large = directory_.file("large");
    const std::string next = directory_.file("next");
    const struct {
        std::function<void()> make;
        std::string reason;
    } changes[] = {
        {[&] { std::filesystem::resize_file(large, SIZE - 1); },
         large + " became shorter while it was sent"},
        {[&] { std::filesystem::resize_file(large, SIZE + 1); },
         large + " became longer while it was sent"},
        {[&] { std::filesystem::remove(next); }, next + " cannot be opened"},
        {[&] {
             std::filesystem::remove(next);
             std::filesystem::create_directory(next);
         },
         next + " cannot be read"},
    };
    for (const auto& change : changes) {
        file("large", "");
        file("next", "text");
        std::filesystem::resize_file(large, SIZE);
        // The file is larger than all buffers between, so that its end waits for the server.
        FaultServer server("ustall@1000");
        HttpRequest request =
            form(server.url(), MultipartBody().withPart(FilePart(large)).withPart(FilePart(next)));
        request.setProgressCallback([&, changed = false](const Progress& progress) mutable {
            if (progress.uploadNow == 0 || std::exchange(changed, true))
                return ProgressResult::CONTINUE;
            change.make();
            server.release();
            return ProgressResult::CONTINUE;
        });

        EXPECT_EQ(failureOf([&] { send(CurlHttpClient(once()), std::move(request)); }),
                  "Request to " + hostOf(server) + " failed: request body: file " + change.reason);
    }
}

TEST_P(MultipartBodies, WhoseFileHoldsMoreThanItsSizeTellsFail) {
    FaultServer server;
    const CurlHttpClient client(once());

    const std::string failure = failureOf([&] {
        send(client, form(server.url(), MultipartBody().withPart(FilePart("/proc/version"))));
    });

    EXPECT_EQ(failure, "Request to " + hostOf(server) +
                           " failed: request body: file /proc/version became longer while it was "
                           "sent");
}

TEST_P(MultipartBodies, FromAFileOfFiveGibibytesAreAnnouncedAndStreamed) {
    constexpr std::uint64_t SIZE = std::uint64_t{5} << 30;
    FaultServer server("early@10000000:413:rst");
    const std::string path = file("sparse", "");
    std::filesystem::resize_file(path, SIZE);
    std::int64_t total = 0;
    HttpRequest request = form(server.url(), MultipartBody().withPart(FilePart(path)));
    request.setProgressCallback([&](const Progress& progress) {
        total = std::max(total, progress.uploadTotal);
        return ProgressResult::CONTINUE;
    });

    failureOf([&] { send(CurlHttpClient(once()), std::move(request)); });

    const ReceivedRequest received = server.requests().at(0);
    const std::uint64_t announced = std::stoull(received.header("Content-Length").value());
    EXPECT_GT(announced, SIZE);
    EXPECT_LT(announced, SIZE + 1000);
    EXPECT_EQ(total, static_cast<std::int64_t>(announced));
    EXPECT_GE(received.bodySize, 10000000U);
}

// The lines of the first part's head.
std::vector<std::string> partLines(const ReceivedRequest& request) {
    const std::string head = request.body.substr(0, request.body.find("\r\n\r\n")) + "\r\n";
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = head.find("\r\n", begin)) != std::string::npos; begin = end + 2)
        lines.push_back(head.substr(begin, end - begin));
    return lines;
}

TEST_P(MultipartBodies, HoldNoLineThatAByteOfANameOrHeaderMade) {
    FaultServer server;
    const CurlHttpClient client(once());
    const auto failureOfPart = [&](PartHeader header) {
        server.forgetRequests();
        return failureOf([&] {
            send(client,
                 form(server.url(), MultipartBody().withPart(DataPart(std::move(header), "text"))));
        });
    };
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const std::string odd = std::string("a") + static_cast<char>(byte) + "b: c";
        const bool endsLine = byte == '\r' || byte == '\n' || byte == '\0';

        EXPECT_EQ(failureOfPart(PartHeader(odd)).empty(), byte != '\0');
        if (byte != '\0') {
            const auto lines = partLines(server.requests().at(0));
            ASSERT_EQ(lines.size(), 2u);
            EXPECT_EQ(lines[1].rfind("Content-Disposition: form-data; name=\"a", 0), 0u);
            EXPECT_EQ(lines[1].find_first_of(std::string("\n\r\0", 3)), std::string::npos);
        }

        EXPECT_EQ(failureOfPart(PartHeader("a").withCustomHeaderValue("X-Part", odd)).empty(),
                  !endsLine);
        ASSERT_EQ(server.requests().size(), endsLine ? 0u : 1u);
        if (!endsLine) {
            const auto lines = partLines(server.requests()[0]);
            ASSERT_EQ(lines.size(), 3u);
            EXPECT_EQ(lines[2], "X-Part: " + odd);
        }

        EXPECT_NE(failureOfPart(PartHeader("a").withCustomHeaderValue(odd, "value")), "");
        EXPECT_TRUE(server.requests().empty());
    }
}

TEST_P(MultipartBodies, HoldNoLineThatACharacterOfAFileNameMade) {
    FaultServer server;
    const CurlHttpClient client(once());
    for (int code = 1; code < 256; ++code) {
        if (code == '/') continue;
        SCOPED_TRACE(code);
        const std::string character = code < 128
                                          ? std::string(1, static_cast<char>(code))
                                          : std::string{static_cast<char>(0xC0 | (code >> 6)),
                                                        static_cast<char>(0x80 | (code & 0x3F))};
        server.forgetRequests();

        send(client, form(server.url(), MultipartBody().withPart(FilePart(
                                            PartHeader("f"), file("a" + character + "b", "x")))));

        const auto lines = partLines(server.requests().at(0));
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1].rfind("Content-Disposition: form-data; name=\"f\"; filename=\"a", 0),
                  0u);
        EXPECT_EQ(lines[1].find_first_of("\r\n"), std::string::npos);
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl
