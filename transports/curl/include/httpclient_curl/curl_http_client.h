#pragma once

#include <cstdint>
#include <memory>

#include "httpclient_core/client.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/messages.h"
#include "httpclient_curl/curl_options.h"
#include "httpclient_curl/export.h"

namespace tavrin::httpclient_curl {

// clang-format off
/// Client that makes its requests through libcurl, over http and https.
///
/// A request ends right, with the bytes of one representation that the server had, or with an
/// exception. Bodies are streamed both ways and never held whole. Connections are kept and used
/// again. Certificates and host names are always verified. No proxy is taken from the environment;
/// libcurl reads SSLKEYLOGFILE there, and OpenSSL variables of its own, such as OPENSSL_CONF.
///
/// **Threads.** Requests may be made from many threads at once. A synchronous one runs on its
/// caller's thread. Asynchronous ones run on at most maxThreads() threads of the client, each with
/// at most maxRequestsPerThread() transfers (0: no limit); further ones wait in order without a
/// thread. The response stream, the request's stream, the progress callback and the callback for
/// changes of status or headers are used on the thread that carries the transfer, so a stream that
/// blocks there holds up that thread's other transfers. From a fifth of a second on, requests that
/// are made go to other threads instead, if there may be any. Retry strategies, their back-off and
/// completion handlers run on further threads, which grow with those that sleep or block, and go
/// again. A handler may make requests on the client and wait for their futures.
///
/// **End of life.** The destructor cancels what is under way: every asynchronous request completes,
/// once, with HttpRequestCancelledException. It returns when the handlers have, in a few
/// milliseconds and about one more for each thousand requests that wait; a handler that blocks, a
/// retry strategy that sleeps and a stream or callback that blocks delay it for as long as they
/// take. Nothing new is started meanwhile: performRequest() and performAsyncRequest() throw
/// HttpRequestCancelledException. A handler may destroy the client that calls it; all other threads
/// of the client have ended then, and the end of the program waits for that handler to return. So
/// may a stream or callback of an asynchronous request; the transfers of its thread are completed,
/// as cancelled, when it has returned, so that no other handler may be waiting for one of them. A
/// synchronous request's must not.
///
/// **fork().** A child process may use and destroy a client of its parent's: there it has threads
/// and connections of its own, none of the parent's requests, and leaves the parent's connections
/// alone. One thread of the child uses it first, before others do.
///
/// **Settings.** Every setting of ClientConfiguration has its effect. Times and speeds of 0 or less
/// are no limit; maxRedirects() counts as 0 if it is negative and as 1000 if it is greater. If
/// certificateFile() is set, that file and nothing else is trusted; otherwise the system's
/// certificates are, as they were up to a day ago. responseTimeout() counts up to the final answer,
/// however many interim ones come. proxy() is a URL with one of
/// the schemes http, https, socks4, socks4a, socks5 and socks5h; without a scheme it means http.
/// User and password of the proxy stand in it; a Proxy-Authorization field of a request's own is
/// refused where the proxy would hand it on unseen, which is for https and with SOCKS.
/// A new configuration holds for requests that start after it was set. Waiting in the queue counts
/// towards no limit, nor does the time that streams and callbacks take, of this request or another
/// on its thread; but while a request's stream gives its body too slowly, its transfer is idle.
///
/// **Requests.** Names of header fields are tokens (RFC 9110, 5.6.2) and values hold no CR, LF or
/// NUL; URL and fields have at most 1 MiB together. Content-Length is a plain decimal number and
/// stands once; Transfer-Encoding is "chunked" or "identity". A body whose stream is shorter or
/// longer than its Content-Length fails the request before it is complete; Content-Length bytes are
/// never exceeded. Where a stream's buffer does not tell (by in_avail()) that it has more, nobody
/// notices: the announced bytes go out, and the request succeeds. No field is added but Host,
/// User-Agent, the framing of the body, the Content-Type of a multipart body, Authorization for the
/// user and password of the URL, Accept-Encoding for decoding, Range and If-Range for resuming, and
/// for an http proxy Proxy-Connection and Proxy-Authorization. The body goes again, from where it
/// stood at first, on redirects that keep the method and on further attempts; a stream that cannot
/// go back fails them. Multipart bodies go as multipart/form-data (RFC 7578), framed by what they
/// are, whatever Content-Length and Transfer-Encoding say; files are read while they are sent, and
/// must not change meanwhile. A request that carries both a simple and a
/// multipart body is refused, and so is a HEAD request with a body. POST and PATCH are never sent
/// twice unasked; other methods once more if a kept connection turns out to be dead before any byte
/// of an answer came. So a POST may fail, too, that an HTTP/2 server has not looked at as it gives
/// up the connection, which libcurl does not tell. A connection that lay idle for a minute, or for
/// five seconds where POST or PATCH would take it, is not used again, nor is one of HTTP/1 on which
/// anything came while it lay idle: that is no answer to the next request (RFC 9112, 6.3).
///
/// **Redirects** with the codes 301, 302, 303, 307 and 308 are followed if followRedirects() says
/// so: 303, and 301 and 302 after POST, with GET (HEAD stays HEAD), the others with method and
/// body. At another scheme, host or port only these fields go along: Accept, Accept-Charset,
/// Accept-Encoding, Accept-Language, Cache-Control, Pragma, Range, User-Agent, the If- fields, and
/// those that describe a body that goes along. User and password of a URL are not taken from a
/// redirect.
///
/// **Responses.** Code, reason, headers and report are set once for an attempt, before the body's
/// stream is made. Interim responses, redirects, a proxy's answers and trailers do not show in
/// them. The body's stream is made, if nothing else did, at the first byte or the end of every
/// response that may have a body.
///
/// **Resuming.** A further attempt of a GET asks only for the missing bytes if resumeOnRetry() is
/// set and the bytes held are surely bytes of what the server has: they came with a 200, a strong
/// validator (an ETag, or a Last-Modified at least 60 s older than the Date) and a Content-Length,
/// without a content coding, and the request has no Range field of its own. The request then says
/// If-Range; an answer that does not fit exactly, or that a redirect brings from another scheme,
/// host, port or path than before, is dropped and the whole asked for at once. A response that was
/// put together so shows as the 200 that it began with. A SHA-512, or else a SHA-256, that the
/// server announces in Repr-Digest (RFC 9530) is compared, unless the body is decoded: it tells of
/// what came. What nobody can see without it: content that changes under the same ETag; a body
/// without any length that a plain connection cuts off.
///
/// **Failures.** <...> varies; host is the host and port of the URL, or of the redirect's, and no
/// text holds a credential. The last column tells what a retry predicate sees: "timeout", which the
/// default predicate retries for GET and the download predicate for GET and HEAD; "-1", no answer,
/// which only the latter retries; "code", that of the answer that had begun to arrive, if any had.
///
/// | failure | exception and text | seen |
/// |---|---|---|
/// | limit of time | HttpRequestTimeoutException "Request timed out." | timeout |
/// | cancelled by callback or destructor | HttpRequestCancelledException "Request cancelled" | none |
/// | request that must not be sent | "Request refused: <reason>" | -1 |
/// | name of the host | "Request to <host> failed: name resolution: <reason>" | -1 |
/// | no connection | "Request to <host> failed: connecting: <reason>" | -1 |
/// | proxy not found, not reached, or refusing | "Request to <host> failed: proxy: <reason>" | -1 |
/// | TLS, certificate | "Request to <host> failed: TLS: <reason>" | -1 |
/// | certificate file | "Request to <host> failed: certificate file <path>: <reason>" | -1 |
/// | redirect | "Request to <host> failed: redirect: <reason>" | -1 |
/// | connection lost | "Request to <host> failed: sending: <reason>" | code |
/// | connection lost | "Request to <host> failed: receiving: <reason>" | code |
/// | body cut off, or coded content that ends too early | "Request to <host> failed: incomplete body: <reason>" | code |
/// | response malformed or beyond a limit | "Request to <host> failed: malformed response: <reason>" | code |
/// | part that was not asked for | "Request to <host> failed: range: <reason>" | -1 |
/// | parts that do not add up | "Request to <host> failed: range: <reason>" | code |
/// | body unlike its Repr-Digest | "Request to <host> failed: digest: <reason>" | code |
/// | body of the request | "Request to <host> failed: request body: <reason>" | code |
/// | stream of the response | "Request to <host> failed: response stream: <reason>" | code |
/// | anything else in libcurl | "Request to <host> failed: transfer: <reason>" | code |
/// | libcurl itself, beside a transfer | "Request failed: libcurl: <reason>" | code |
/// | stream, factory or callback that throws | as it was thrown | code |
///
/// Where no class is named it is HttpRequestFailedException; <reason> is libcurl's where it has one.
/// What was cancelled is not retried, whatever the strategy says. std::bad_alloc and
/// std::system_error tell that memory or threads have run out.
///
/// Malformed is a response, among others, whose framing could be read in two ways: with
/// Content-Lengths that differ, or that are no plain numbers (one number may be repeated); with a
/// Transfer-Encoding other than one "chunked" or "identity"; and with a blank before the colon, or a
/// folded line, in Content-Length, Transfer-Encoding or Content-Encoding.
///
/// **Progress.** The callback is called at least ten times a second while an attempt is under way,
/// and a last time with the final counts when it succeeds or fails with bytes of a body moved; then
/// a failure stays what it is, whatever the callback answers or throws. After it has ended an
/// attempt itself, and when the end of the client has, it is not called again. An attempt that the
/// frame prepares for resuming has its download counts raised by what the stream held then, and
/// those of successive ones add up.
///
/// **Limits.** The progress callback is not called while a request waits in the queue, nor during a
/// strategy's back-off; it cannot cancel there. Giving up a request whose host name is being looked
/// up leaves that to a thread of libcurl's, which ends when the system's resolver answers. Addresses
/// are kept for a minute, whatever their time to live, so that further attempts within it go to the
/// same ones. A stream that blocks cannot be
/// interrupted; neither limits of time nor cancellation end it. Connections are not shared between
/// threads. Where a line of a response's head begins with NUL, libcurl leaves out what it has read
/// behind it, and nobody can see that; with NUL elsewhere in a head the response is malformed.
// clang-format on
class HTTPCLIENT_CURL_EXPORT CurlHttpClient final : public httpclient_core::HttpClient {
public:
    /// A client with the default configuration and options; no thread is started yet.
    /// @throws std::runtime_error if libcurl cannot be initialised; so do the others.
    CurlHttpClient();
    explicit CurlHttpClient(httpclient_core::ClientConfiguration configuration);
    CurlHttpClient(httpclient_core::ClientConfiguration configuration, CurlOptions options);
    ~CurlHttpClient() override;

    /// As the frame's: both throw what stands there, and HttpRequestCancelledException once the
    /// client is being destroyed.
    httpclient_core::HttpResponse makeRequest(httpclient_core::HttpRequest request) const override;
    void makeAsyncRequest(httpclient_core::HttpRequest request,
                          httpclient_core::CompletionHandler handler) const override;
    using HttpClient::makeAsyncRequest;

    /// Stores the settings for the requests to come and returns without waiting.
    void configurationChanged(const httpclient_core::ClientConfiguration& configuration) override;

    /// One attempt on the calling thread. Called outside makeRequest() it stands for itself: what
    /// the response's body holds is discarded, and a Range field is the application's own.
    void performRequest(httpclient_core::HttpRequest& request,
                        httpclient_core::HttpResponse& response) const override;

    /// One attempt on the client's threads. Called from elsewhere than makeAsyncRequest() and its
    /// retries, it stands for itself as well.
    /// @throws httpclient_core::HttpRequestCancelledException if the client is being destroyed;
    /// `completion` is not run then. Whatever else goes wrong is handed to `completion`.
    void performAsyncRequest(httpclient_core::HttpRequest request,
                             httpclient_core::HttpResponse response, std::uint64_t requestId,
                             httpclient_core::RetryTask completion) const override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tavrin::httpclient_curl
