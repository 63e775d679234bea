#pragma once

#include <cstdint>
#include <string>

#include "httpclient_curl/export.h"

namespace tavrin::httpclient_curl {

/// Highest version of HTTP that a client may speak. HTTP/2 (RFC 9113) is spoken over TLS alone,
/// where the server agrees to it; its responses have no reason phrase. Asynchronous requests that a
/// thread carries at the same time then share a connection, as soon as it stands.
enum class HttpVersion { HTTP_1_1, HTTP_2 };

/// How a CurlHttpClient works, as far as ClientConfiguration has no place for it.
///
/// Nothing is checked when it is set. The options of a client are fixed when it is made.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take constant time, or time linear in what they copy.
class HTTPCLIENT_CURL_EXPORT CurlOptions {
public:
    /// The defaults that are named below.
    CurlOptions();

    /// Value of the User-Agent field of requests that have none of their own; "httpclient_curl/"
    /// and the library's version by default. Empty: such requests go without the field.
    std::string userAgent() const;
    void setUserAgent(std::string userAgent);
    CurlOptions& withUserAgent(std::string userAgent);

    /// Highest version of HTTP; HTTP_2 by default.
    HttpVersion highestHttpVersion() const;
    void setHighestHttpVersion(HttpVersion version);
    CurlOptions& withHighestHttpVersion(HttpVersion version);

    /// Whether the client asks for compressed content and decodes it (RFC 9110, 8.4); false by
    /// default. A response that was decoded has neither Content-Encoding nor Content-Length, and is
    /// never resumed. Content of gzip or deflate that ends before its coding does is an error; that
    /// of other codings, and of several at once, libcurl takes for whole. A request with an
    /// Accept-Encoding or Range field of its own gets what it asked for, as it comes.
    bool decodeContent() const;
    void setDecodeContent(bool decodeContent);
    CurlOptions& withDecodeContent(bool decodeContent);

    /// Most bytes that a decoded body may have, so that a small answer cannot fill a disk; 1 GiB by
    /// default, 0 for no limit. Bodies that are not decoded have no limit.
    std::int64_t maxDecodedBytes() const;
    void setMaxDecodedBytes(std::int64_t bytes);
    CurlOptions& withMaxDecodedBytes(std::int64_t bytes);

    /// Most bytes of one response's header block, status line included; 256 KiB by default, 0 for
    /// no limit. A single line never has more than 100 KiB, nor have the heads of a
    /// response and of the interim ones before it more than 300 KiB together.
    std::int64_t maxHeaderBytes() const;
    void setMaxHeaderBytes(std::int64_t bytes);
    CurlOptions& withMaxHeaderBytes(std::int64_t bytes);

    /// Most header fields of one response; 1000 by default, 0 for no limit.
    std::int64_t maxHeaderCount() const;
    void setMaxHeaderCount(std::int64_t count);
    CurlOptions& withMaxHeaderCount(std::int64_t count);

    /// Whether a redirect may lead from https to http; false by default.
    bool allowHttpsToHttpRedirects() const;
    void setAllowHttpsToHttpRedirects(bool allow);
    CurlOptions& withAllowHttpsToHttpRedirects(bool allow);

private:
    std::string userAgent_;
    HttpVersion highestHttpVersion_ = HttpVersion::HTTP_2;
    bool decodeContent_ = false;
    std::int64_t maxDecodedBytes_ = std::int64_t{1} << 30;
    std::int64_t maxHeaderBytes_ = 256 * 1024;
    std::int64_t maxHeaderCount_ = 1000;
    bool allowHttpsToHttpRedirects_ = false;
};

}  // namespace tavrin::httpclient_curl
