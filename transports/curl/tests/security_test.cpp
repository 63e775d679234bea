#include <sys/socket.h>
#include <unistd.h>

#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Security : public OnBothRoads {
protected:
    std::string failureFor(const std::string& url, HttpHeaders headers = {}) {
        return failureOf([&] { send(client_, get(url, std::move(headers))); });
    }

    CurlHttpClient client_{once().withConnectTimeout(500)};
    FaultServer server_;
};
ON_BOTH_ROADS(Security);

bool isTokenCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string("!#$%&'*+-.^_`|~").find(c) != std::string::npos;
}

TEST_P(Security, NamesOfFieldsAreTokens) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        server_.forgetRequests();
        const bool token = byte < 128 && c != '\0' && isTokenCharacter(c);
        const std::string text = failureFor(server_.url(), {{std::string("X") + c + "Y", "value"}});
        EXPECT_EQ(text, token ? "" : "Request refused: the name of a header field is not a token")
            << byte;
        EXPECT_EQ(server_.requests().size(), token ? 1u : 0u);
        if (token) {
            EXPECT_EQ(server_.requests()[0].header(std::string("X") + c + "Y"), "value");
        }
    }
    EXPECT_NE(failureFor(server_.url(), {{"", "value"}}), "");
}

TEST_P(Security, ValuesOfFieldsHoldNoLineEnds) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const std::string value = std::string("a") + c + "b: c";
        const bool refused = c == '\r' || c == '\n' || c == '\0';
        server_.forgetRequests();
        const std::string text = failureFor(server_.url(), {{"X-Value", value}, {"Cookie", value}});
        EXPECT_EQ(
            text,
            refused
                ? "Request refused: the value of the header field X-Value contains CR, LF or NUL"
                : "")
            << byte;
        ASSERT_EQ(server_.requests().size(), refused ? 0u : 1u);
        if (!refused) {
            EXPECT_EQ(server_.requests()[0].header("X-Value"), value);
        }
    }
}

TEST_P(Security, CredentialsOfAUrlAreSentWholeOrRefused) {
    for (const char* credentials : {"us%0aer:pw", "user:p%0dw", "user:%00"}) {
        EXPECT_EQ(failureFor(server_.urlWithHost(std::string(credentials) + "@127.0.0.1", "/")),
                  "Request refused: the user or password of the URL contains a control character")
            << credentials;
    }
    EXPECT_TRUE(server_.requests().empty());
}

TEST_P(Security, UrlsHoldNoBlanksNorControlCharacters) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        server_.forgetRequests();
        const std::string text = failureFor(server_.url("/a") + c + "b");
        if (byte <= ' ' || byte == 0x7f) {
            EXPECT_EQ(text, "Request refused: the URL contains a blank or a control character")
                << byte;
            EXPECT_TRUE(server_.requests().empty());
        } else if (text.empty()) {
            ASSERT_EQ(server_.requests().size(), 1u);
            const ReceivedRequest request = server_.requests()[0];
            EXPECT_EQ(request.countHeader("Host"), 1u) << byte;
            for (const char d : request.target) EXPECT_TRUE(d > ' ' && d < 0x7f) << byte;
        }
    }
    EXPECT_EQ(server_.requests().size(), 1u);
    failureFor(server_.url("/\xc3\xa9?q=\xc3\xa9"));
    EXPECT_EQ(server_.requests().back().target, "/%C3%A9?q=%C3%A9");
}

TEST_P(Security, OnlyHttpAndHttpsAreSpoken) {
    for (const char* url :
         {"file:///etc/hostname", "ftp://127.0.0.1/", "gopher://127.0.0.1/", "dict://127.0.0.1/",
          "data:,x", "ws://127.0.0.1/", "smb://127.0.0.1/"}) {
        EXPECT_THAT(failureFor(url), StartsWith("Request refused: the URL ")) << url;
    }
    for (const char* url : {"", "127.0.0.1", "localhost/path", "http://", "http:///path",
                            "http:/127.0.0.1/", "https:127.0.0.1", "http://?", "http://#",
                            "//127.0.0.1/", "http://127.0.0.1:99999/", "http://[::1/"}) {
        EXPECT_THAT(failureFor(url), StartsWith("Request refused: ")) << url;
    }
}

TEST_P(Security, StrangeNamesFail) {
    std::string labels = "http://";
    for (int i = 0; i < 300; ++i) labels += "a.";
    EXPECT_THAT(failureFor(labels + "invalid/"), HasSubstr("invalid:80 failed: name resolution: "));
    EXPECT_THAT(failureFor("http://nowhere.invalid/"),
                StartsWith("Request to nowhere.invalid:80 failed: name resolution: "));
    // Only a locale, which this program has not set, tells what such a name is.
    EXPECT_THAT(failureFor("http://b\xc3\xbc"
                           "cher.invalid/"),
                StartsWith("Request to b\xc3\xbc"
                           "cher.invalid:80 failed: transfer: "));
    EXPECT_EQ(failureFor(server_.urlWithHost("localhost")), "");
}

TEST_P(Security, HeadsOfRequestsHaveAMebibyteAtMost) {
    const std::string headTooLong =
        "Request refused: its URL and header fields have more than 1 MiB, or memory has run out";
    const std::string room(2000, 'l');
    const std::string most((1 << 20) - room.size(), 'l');
    ASSERT_EQ(failureFor(server_.url("/" + most)), "");
    ASSERT_EQ(failureFor(server_.url(), {{"X-Long", most}}), "");
    server_.forgetRequests();

    EXPECT_EQ(failureFor(server_.url("/" + most), {{"X-Long", room}}), headTooLong);
    EXPECT_EQ(failureFor(server_.url(), {{"X-Long", most + room}}), headTooLong);
    for (const std::size_t size : {1U << 20, 9U << 20}) {
        EXPECT_EQ(failureFor(server_.url("/" + std::string(size, 'l'))),
                  "Request refused: the URL has more than 1 MiB");
    }
    EXPECT_TRUE(server_.requests().empty());
}

TEST_P(Security, HeadsOfRequestsThatGoThroughATunnelHaveAMebibyteAtMost) {
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    FaultServer secure(std::move(options));
    client_.setClientConfiguration(
        once().withProxy(server_.url("")).withCertificateFile(secure.caFile()));

    EXPECT_THAT(failureFor(secure.url(), {{"X-Long", std::string(1 << 20, 'l')}}),
                StartsWith("Request refused: its URL and header fields have more than 1 MiB"));

    EXPECT_TRUE(secure.requests().empty());
    EXPECT_EQ(failureFor(secure.url()), "");
}

TEST_P(Security, AddressesOfIpVersionSixStandInBrackets) {
    const int socket = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0) GTEST_SKIP() << "this machine has no IPv6";
    ::close(socket);
    const std::string host = "[::ffff:127.0.0.1]";

    EXPECT_EQ(failureFor(server_.urlWithHost(host, "/bytes/5")), "");

    EXPECT_EQ(server_.requests().at(0).header("Host"), host + ":" + std::to_string(server_.port()));
    FaultServer absent;
    absent.refuseConnections();
    EXPECT_THAT(failureFor(absent.urlWithHost(host)),
                StartsWith("Request to " + host + ":" + std::to_string(absent.port()) +
                           " failed: connecting: "));
    for (const char* malformed : {"[::1", "[::g]", "[]", "[1:2]", "::1"})
        EXPECT_NE(failureFor(server_.urlWithHost(malformed)), "") << malformed;
}

TEST_P(Security, NoByteOfAProxyMakesALine) {
    FaultServer proxy;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool refused = byte <= ' ' || byte == 0x7f;
        for (const std::string& url :
             {proxy.urlWithHost(std::string("us") + c + "er:p@127.0.0.1"),
              proxy.urlWithHost(std::string("u:p") + c + "x@127.0.0.1"),
              proxy.urlWithHost("127.0.0.1", std::string("/a") + c + "X-Evil: 1")}) {
            SCOPED_TRACE(url);
            proxy.forgetRequests();

            client_.setClientConfiguration(once().withProxy(url));
            const std::string text = failureFor(server_.url());

            if (refused) {
                EXPECT_EQ(
                    text,
                    "Request refused: the proxy's URL contains a blank or a control character");
            }
            if (!text.empty()) {
                EXPECT_TRUE(proxy.requests().empty());
                continue;
            }
            ASSERT_EQ(proxy.requests().size(), 1u);
            const ReceivedRequest seen = proxy.requests()[0];
            for (const std::string& line : seen.headerLines)
                EXPECT_EQ(line.find("Evil"), std::string::npos) << line;
        }
    }
    EXPECT_TRUE(server_.requests().empty());
}

TEST_P(Security, NoEscapedByteOfAProxysCredentialsLeadsPastIt) {
    FaultServer proxy;
    for (int byte = 0; byte < 256; ++byte) {
        std::string escaped = "%00";
        std::snprintf(escaped.data(), escaped.size() + 1, "%%%02X", static_cast<unsigned>(byte));
        for (const std::string& credentials : {"us" + escaped + "er:p@", "u:p" + escaped + "x@"}) {
            SCOPED_TRACE(credentials);
            proxy.forgetRequests();
            client_.setClientConfiguration(
                once().withProxy(proxy.urlWithHost(credentials + "127.0.0.1")));

            const std::string text = failureFor(server_.url());

            const bool isControl = byte < ' ';
            EXPECT_EQ(text, isControl ? "Request refused: the user or password of the proxy's URL "
                                        "contains a control character"
                                      : "");
            EXPECT_EQ(proxy.requests().size(), isControl ? 0u : 1u);
        }
    }
    EXPECT_TRUE(server_.requests().empty());
}

TEST_P(Security, FragmentsAndUsersStayHome) {
    send(client_, get(server_.urlWithHost("me:pw@127.0.0.1", "/a/../b?q#fragment")));
    EXPECT_EQ(server_.requests()[0].target, "/b?q");
    EXPECT_EQ(server_.requests()[0].header("Host"), hostOf(server_));
}

TEST_P(Security, WhatLibcurlFindsTooLongFailsTheRequest) {
    const std::string long9M(9000000, 'l');
    const std::string failure =
        "Request failed: libcurl: A libcurl function was given a bad argument";
    const CurlHttpClient garrulous(once(), CurlOptions().withUserAgent(long9M));

    EXPECT_EQ(failureOf([&] { send(garrulous, get(server_.url())); }), failure);
    client_.setClientConfiguration(once().withCertificateFile(long9M));
    EXPECT_EQ(failureFor(server_.url()), failure);
    EXPECT_TRUE(server_.requests().empty());

    client_.setClientConfiguration(once());
    EXPECT_EQ(failureFor(server_.url()), "");
}

TEST_P(Security, TheUserAgentIsCheckedToo) {
    const CurlHttpClient client(once(), CurlOptions().withUserAgent("a\r\nX-Evil: 1"));
    EXPECT_EQ(failureOf([&] { send(client, get(server_.url())); }),
              "Request refused: the value of the header field User-Agent contains CR, LF or NUL");
    EXPECT_TRUE(server_.requests().empty());
}

}  // namespace
}  // namespace tavrin::httpclient_curl
