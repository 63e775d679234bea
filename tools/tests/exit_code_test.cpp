#include "exit_code.h"

#include <gmock/gmock.h>
#include <httpclient_core/exceptions.h>

#include <stdexcept>

#include "failures.h"

namespace tavrin::http_tool {
namespace {

namespace core = httpclient_core;

template <typename Exception>
int codeOf(const Exception& exception) {
    return static_cast<int>(exitCodeFor(std::make_exception_ptr(exception)));
}

int codeOfCause(const std::string& cause) {
    return codeOf(core::HttpRequestFailedException("Request to host:80 failed: " + cause));
}

TEST(ExitCodeFor, FollowsTheType) {
    EXPECT_EQ(codeOf(WriteFailure("x")), 23);
    EXPECT_EQ(codeOf(ReadFailure("x")), 26);
    EXPECT_EQ(codeOf(StartOverFailure("x")), 18);
    EXPECT_EQ(codeOf(HttpErrorFailure("x")), 22);
    EXPECT_EQ(codeOf(ChecksumFailure("x")), 100);
    EXPECT_EQ(codeOf(core::HttpRequestTimeoutException()), 28);
    EXPECT_EQ(codeOf(std::logic_error("x")), 2);
    EXPECT_EQ(codeOf(std::runtime_error("x")), 56);
    EXPECT_EQ(codeOf(5), 56);
}

TEST(ExitCodeFor, FollowsTheCauseThatTheTransportNames) {
    EXPECT_EQ(codeOfCause("name resolution: Could not resolve host"), 6);
    EXPECT_EQ(codeOfCause("connecting: Connection refused"), 7);
    EXPECT_EQ(codeOfCause("proxy: Could not resolve proxy"), 5);
    EXPECT_EQ(codeOfCause("proxy: CONNECT was answered by 403"), 7);
    EXPECT_EQ(codeOfCause("certificate file /x: no such file"), 77);
    EXPECT_EQ(codeOfCause("TLS: SSL certificate problem: expired"), 60);
    EXPECT_EQ(codeOfCause("TLS: wrong version number"), 35);
    EXPECT_EQ(codeOfCause("sending: broken pipe"), 55);
    EXPECT_EQ(codeOfCause("receiving: Empty reply from server"), 52);
    EXPECT_EQ(codeOfCause("receiving: Connection reset by peer"), 56);
    EXPECT_EQ(codeOfCause("incomplete body: 5 of 10"), 18);
    EXPECT_EQ(codeOfCause("range: a part came that nobody asked for"), 18);
    EXPECT_EQ(codeOfCause("digest: the body is not what its Repr-Digest tells"), 100);
    EXPECT_EQ(codeOfCause("malformed response: it has no head"), 8);
    EXPECT_EQ(codeOfCause("malformed response: Unrecognized content encoding"), 61);
    EXPECT_EQ(codeOfCause("malformed response: its decoded body has more than maxDecodedBytes = 5 "
                          "bytes"),
              63);
    EXPECT_EQ(codeOfCause("malformed response: it has more than maxHeaderCount = 5 fields"), 63);
    EXPECT_EQ(codeOfCause("malformed response: Too large response headers: 307201 > 307200"), 63);
    EXPECT_EQ(codeOfCause("malformed response: Illegal number in chunked-encoding"), 56);
    EXPECT_EQ(codeOfCause("redirect: more than maxRedirects = 5"), 47);
    EXPECT_EQ(codeOfCause("redirect: it leads from https to http"), 1);
    EXPECT_EQ(codeOfCause("request body: it is shorter"), 26);
    EXPECT_EQ(codeOfCause("response stream: it went bad"), 23);
    EXPECT_EQ(codeOfCause("transfer: something"), 56);
}

TEST(ExitCodeFor, TakesAConnectionWithoutADescriptorForNone) {
    EXPECT_EQ(codeOf(core::HttpRequestFailedException(
                  "Request failed: libcurl: no file descriptor is left")),
              7);
}

TEST(ExitCodeFor, KnowsRequestsThatAreRefused) {
    EXPECT_EQ(codeOf(core::HttpRequestFailedException("Request refused: the URL is malformed: x")),
              3);
    EXPECT_EQ(codeOf(core::HttpRequestFailedException(
                  "Request refused: the URL has neither the scheme http nor https")),
              1);
    EXPECT_EQ(codeOf(core::HttpRequestFailedException(
                  "Request refused: the proxy's URL has a scheme that is not supported")),
              1);
    EXPECT_EQ(codeOf(core::HttpRequestFailedException(
                  "Request refused: the user or password of the URL contains a control character")),
              3);
    for (const std::string reason :
         {"Content-Length announces a body that is not there",
          "its Proxy-Authorization would not go to the proxy, whose URL has room for it",
          "the value of the header URL-scheme contains CR, LF or NUL"}) {
        EXPECT_EQ(codeOf(core::HttpRequestFailedException("Request refused: " + reason)), 2);
    }
}

TEST(TextOf, IsWhatTheExceptionSays) {
    EXPECT_EQ(textOf(std::make_exception_ptr(WriteFailure("why"))), "why");
    EXPECT_EQ(textOf(std::make_exception_ptr(5)), "unknown failure");
}

}  // namespace
}  // namespace tavrin::http_tool
