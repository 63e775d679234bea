#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <istream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/media_types.h"
#include "httpclient_core/multipart.h"
#include "httpclient_core/progress.h"
#include "httpclient_core/query_parameters.h"
#include "httpclient_core/url.h"

namespace tavrin::httpclient_core {

class ClientConfiguration;
class HttpResponse;

/// Request methods (RFC 9110, 9.3; RFC 5789). The numbers are part of the interface.
enum class HttpMethod : std::int32_t {
    GET = 0,
    POST = 1,
    DELETE = 2,
    PUT = 3,
    HEAD = 4,
    PATCH = 5,
};

/// Writes the method's name, such as "GET"; "UNKNOWN" for a number that names no method. Constant
/// time.
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& os, HttpMethod method);

/// The method of exactly that name, upper case. May be called from any thread. Constant time.
/// @throws std::out_of_range "map::at" for any other text.
HTTPCLIENT_CORE_EXPORT HttpMethod createHttpMethod(const std::string& name);

/// Status code of a response (RFC 9110, 15): the number itself, which may be any integer. The named
/// ones are those that IANA registers.
enum class HttpResponseCode : std::int32_t {
    CONTINUE = 100,
    SWITCHING_PROTOCOLS = 101,
    PROCESSING = 102,
    EARLY_HINTS = 103,
    OK = 200,
    CREATED = 201,
    ACCEPTED = 202,
    NON_AUTHORITATIVE_INFORMATION = 203,
    NO_CONTENT = 204,
    RESET_CONTENT = 205,
    PARTIAL_CONTENT = 206,
    MULTI_STATUS = 207,
    ALREADY_REPORTED = 208,
    IM_USED = 226,
    MULTIPLE_CHOICES = 300,
    MOVED_PERMANENTLY = 301,
    FOUND = 302,
    SEE_OTHER = 303,
    NOT_MODIFIED = 304,
    USE_PROXY = 305,
    TEMPORARY_REDIRECT = 307,
    PERMANENT_REDIRECT = 308,
    BAD_REQUEST = 400,
    UNAUTHORIZED = 401,
    PAYMENT_REQUIRED = 402,
    FORBIDDEN = 403,
    NOT_FOUND = 404,
    METHOD_NOT_ALLOWED = 405,
    NOT_ACCEPTABLE = 406,
    PROXY_AUTHENTICATION_REQUIRED = 407,
    REQUEST_TIMEOUT = 408,
    CONFLICT = 409,
    GONE = 410,
    LENGTH_REQUIRED = 411,
    PRECONDITION_FAILED = 412,
    CONTENT_TOO_LARGE = 413,
    URI_TOO_LONG = 414,
    UNSUPPORTED_MEDIA_TYPE = 415,
    RANGE_NOT_SATISFIABLE = 416,
    EXPECTATION_FAILED = 417,
    MISDIRECTED_REQUEST = 421,
    UNPROCESSABLE_CONTENT = 422,
    LOCKED = 423,
    FAILED_DEPENDENCY = 424,
    TOO_EARLY = 425,
    UPGRADE_REQUIRED = 426,
    PRECONDITION_REQUIRED = 428,
    TOO_MANY_REQUESTS = 429,
    REQUEST_HEADER_FIELDS_TOO_LARGE = 431,
    UNAVAILABLE_FOR_LEGAL_REASONS = 451,
    INTERNAL_SERVER_ERROR = 500,
    NOT_IMPLEMENTED = 501,
    BAD_GATEWAY = 502,
    SERVICE_UNAVAILABLE = 503,
    GATEWAY_TIMEOUT = 504,
    HTTP_VERSION_NOT_SUPPORTED = 505,
    VARIANT_ALSO_NEGOTIATES = 506,
    INSUFFICIENT_STORAGE = 507,
    LOOP_DETECTED = 508,
    NETWORK_AUTHENTICATION_REQUIRED = 511,
};

/// The code as plain decimal digits, "-" first if it is negative; no reason phrase. This one and
/// those below may be called from any thread and take constant time.
HTTPCLIENT_CORE_EXPORT std::string to_string(HttpResponseCode code);

/// Writes the code as the stream writes an int.
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& os, HttpResponseCode code);

/// Class of a status code: 100-199, 200-299, 300-399, 400-499, 500-599.
HTTPCLIENT_CORE_EXPORT bool isInformational(HttpResponseCode code);
HTTPCLIENT_CORE_EXPORT bool isSuccess(HttpResponseCode code);
HTTPCLIENT_CORE_EXPORT bool isRedirection(HttpResponseCode code);
HTTPCLIENT_CORE_EXPORT bool isClientError(HttpResponseCode code);
HTTPCLIENT_CORE_EXPORT bool isServerError(HttpResponseCode code);

/// Class of a response's status code.
HTTPCLIENT_CORE_EXPORT bool isInformational(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isSuccess(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isRedirection(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isClientError(const HttpResponse& response);
HTTPCLIENT_CORE_EXPORT bool isServerError(const HttpResponse& response);

/// What requests and responses have in common: header fields, and typed access to some of them.
///
/// Every typed setter goes through the virtual setHeaderValue(). Every getter reads the first field
/// of its name. A message belongs to one thread at a time; it may be read from several threads
/// while none changes it. A failed operation leaves the message unchanged. A moved-from message has
/// no headers, and every operation works on it. Header lookups take time logarithmic in the number
/// of fields, and the typed getters and setters time linear in their value besides.
class HTTPCLIENT_CORE_EXPORT HttpMessage {
public:
    /// A message with these header fields.
    HttpMessage(HttpHeaders headers);
    HttpMessage(const HttpMessage&) = default;
    HttpMessage(HttpMessage&&) noexcept = default;
    HttpMessage& operator=(const HttpMessage&) = default;
    HttpMessage& operator=(HttpMessage&&) noexcept = default;
    virtual ~HttpMessage();

    /// Replaces all header fields; nothing of the old ones remains.
    virtual void setHeaders(HttpHeaders headers);

    /// Replaces the value of the first field of that name, or appends the field.
    virtual void setHeaderValue(const std::string& name, std::string value);

    /// Appends a field, whether or not the name is there already.
    virtual void addHeaderValue(const std::string& name, std::string value);

    /// Appends the field of one header line, "Name: value"; see HttpHeaders::addHeader().
    /// @throws std::runtime_error "Missing delimiter <:> when parsing : <" + `line` + ">".
    virtual void addHeader(const std::string& line);

    /// Removes every field of that name; an absent one is no error.
    virtual void removeHeader(const std::string& name);

    /// A copy of all header fields. Linear.
    HttpHeaders getHeaders() const;

    /// Value of the first field of that name.
    /// @throws std::out_of_range `name` + " not found." if there is none; the typed getters below
    /// throw it too, with the name of their field.
    std::string getHeaderValue(const std::string& name) const;

    /// Whether there is a field of that name.
    bool hasHeader(const std::string& name) const;

    /// Content-Type (RFC 9110, 8.3). Text is stored unchecked.
    /// getContentType() @throws std::runtime_error as ContentType::parse() does.
    ContentType getContentType() const;
    void setContentType(const std::string& contentType);
    void setContentType(const ContentType& contentType);

    /// Content-Length in bytes (RFC 9110, 8.6). Text is stored unchecked. Reading skips blanks
    /// before the number, accepts a sign and ignores what follows the digits. getContentLength()
    /// @throws std::runtime_error "Failed to convert Content-Length " + value + " to long. stol" if
    /// the value has no digits or is beyond a long. setContentLength(nullptr) @throws
    /// std::logic_error "basic_string: construction from null is not valid".
    long getContentLength() const;
    void setContentLength(std::string contentLength);
    void setContentLength(const char* contentLength);

    /// Accept (RFC 9110, 12.5.1). Text is stored unchecked.
    /// getAccept() @throws std::runtime_error as Accept::parse() does.
    Accept getAccept() const;
    void setAccept(std::string accept);
    void setAccept(const Accept& accept);

    /// Transfer-Encoding (RFC 9112, 6.1), as text.
    std::string getTransferEncoding() const;
    void setTransferEncoding(std::string transferEncoding);

    /// Cookie (RFC 6265, 4.2).
    /// getCookie() @throws std::runtime_error as Cookie::parse() does.
    NameValueCollection getCookie();
    void setCookie(const NameValueCollection& cookies);

private:
    HttpHeaders headers_;
};

/// Makes the stream that a response's body is written to, from the status code, the reason phrase
/// and the headers that the response has when the stream is first needed.
using ResponseStreamFactory = std::function<std::unique_ptr<std::iostream>(
    HttpResponseCode, const std::string&, const HttpHeaders&)>;

/// A factory that keeps every body in memory: each stream is a new, empty std::stringstream. It may
/// be asked for, and called, from several threads at once.
HTTPCLIENT_CORE_EXPORT ResponseStreamFactory defaultResponseStreamFactory();

/// Request message: method, URL, headers, body, and what is to happen while it is made.
///
/// It owns its body stream and its configuration, so it moves but does not copy, and cannot be
/// assigned to. It belongs to one thread at a time and takes no lock. A moved-from request has no
/// headers, body, configuration or callbacks; every operation works on it. Operations take constant
/// time, or time linear in what they copy.
class HTTPCLIENT_CORE_EXPORT HttpRequest : public HttpMessage {
public:
    /// A request without query parameters, body, configuration and callbacks, whose response body
    /// is kept in memory.
    HttpRequest(HttpMethod method, URL url, HttpHeaders headers);
    HttpRequest(HttpRequest&& other) noexcept;
    ~HttpRequest() override;

    /// The method; it cannot be changed.
    HttpMethod getHttpMethod() const;

    /// The URL with the query parameters appended as QueryParameters::toString() writes them. No
    /// separator is added: a URL that holds a query already gets a second "?". Linear in the
    /// text.
    URL getURL() const;

    /// Query parameters that getURL() appends; none by default.
    QueryParameters getQueryParameters();
    void setQueryParameters(QueryParameters parameters);

    /// Replaces all header fields, by the virtual setHeaders().
    HttpRequest& withHeaders(HttpHeaders headers);

    /// Makes `body` the simple body. Unless the headers are there already, Content-Type becomes
    /// "text/plain" and, if there is no Transfer-Encoding either, Content-Length the length in
    /// bytes. A Content-Length that stands already is kept, even if it belonged to an earlier body.
    void setRequestBody(std::string body);

    /// Takes over `body` as the simple body and sets no header: the caller gives Content-Length or
    /// Transfer-Encoding. A null pointer leaves the request without a simple body.
    void setRequestBody(std::unique_ptr<std::istream> body);

    /// Whether there is a simple body.
    bool hasSimpleBody() const;

    /// The same as hasSimpleBody(): multipart parts don't count.
    bool hasRequestBody() const;

    /// The simple body itself, owned by the request; reading consumes it.
    /// @throws std::logic_error "Request for " + URL + " does not have a body", the URL without
    /// query parameters, if there is none.
    std::istream& getRequestBody() const;

    /// What is left to read of the simple body, which is at its end afterwards; "" without a body.
    /// Linear in what is read.
    std::string getRequestBodyString() const;

    /// Multipart body; it may stand beside a simple one, and can be replaced but not removed.
    /// Setting and getting copy its parts. setMultipartBody() @throws std::logic_error "Multipart
    /// body object is empty." for a body without parts. getMultipartBody() @throws std::logic_error
    /// "Request does not have a multipart body." if none was set.
    void setMultipartBody(MultipartBody body);
    bool hasMultipartBody() const;
    MultipartBody getMultipartBody() const;

    /// Called by the transport while the request is made, on the thread that carries the transfer.
    /// getProgressCallback() @throws std::logic_error "Request for " + URL + " does not have a
    /// ProgressCallback", the URL without query parameters, if it is empty.
    ProgressCallback getProgressCallback() const;
    bool hasProgressCallback() const;
    void setProgressCallback(ProgressCallback callback);
    HttpRequest& withProgressCallback(ProgressCallback callback);

    /// Makes the response's body stream; defaultResponseStreamFactory() by default. An empty one is
    /// accepted here, and fails when the response needs a stream.
    ResponseStreamFactory getResponseStreamFactory() const;
    void setResponseStreamFactory(ResponseStreamFactory factory);
    HttpRequest& withResponseStreamFactory(ResponseStreamFactory factory);

    /// Called before every change of the response's status or headers, on the thread that changes
    /// them; empty by default. What it throws keeps the change from being made.
    std::function<void()> getPreRespCodeAndHeadersCallback() const;
    void setPreRespCodeAndHeadersCallback(std::function<void()> callback);
    HttpRequest& withPreRespCodeAndHeadersCallback(std::function<void()> callback);

    /// Configuration that holds for this request in place of the client's; none by default.
    /// getClientConfiguration() @throws std::logic_error "Request for " + URL + " does not have a
    /// ClientConfiguration", the URL without query parameters, if there is none.
    ClientConfiguration getClientConfiguration() const;
    bool hasClientConfiguration() const;
    void setClientConfiguration(ClientConfiguration configuration);
    HttpRequest& withClientConfiguration(ClientConfiguration configuration);

private:
    HTTPCLIENT_CORE_HIDDEN std::logic_error missing(const char* what) const;

    HttpMethod method_;
    URL url_;
    QueryParameters queryParameters_;
    std::unique_ptr<std::istream> requestBody_;
    std::optional<std::vector<std::variant<DataPart, FilePart>>> multipartBody_;
    ResponseStreamFactory responseStreamFactory_;
    std::function<void()> preRespCodeAndHeadersCallback_;
    std::unique_ptr<ClientConfiguration> clientConfiguration_;
    ProgressCallback progressCallback_;
};

/// How a response was come by.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take constant time, or time linear in the URL that they copy.
class HTTPCLIENT_CORE_EXPORT TransactionReport {
public:
    /// A report of that many redirects, which led to that URL.
    TransactionReport(long redirectCount, URL effectiveURL);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    TransactionReport(const TransactionReport&) = default;
    TransactionReport(TransactionReport&&) noexcept = default;
    TransactionReport& operator=(const TransactionReport& other);
    TransactionReport& operator=(TransactionReport&&) noexcept = default;
    ~TransactionReport() = default;

    /// Number of redirects followed.
    long redirectCount() const;

    /// The URL that finally answered.
    URL effectiveURL() const;

private:
    long redirectCount_;
    URL effectiveURL_;
};

/// Response message: status code, reason phrase, headers, body and transaction report.
///
/// The body is a stream, made by the request's response stream factory when it is first needed. It
/// moves but does not copy. Making and resetting the body stream may happen on different threads;
/// everything else belongs to one thread at a time. A moved-from response has no headers, no body
/// stream, no factory and no callback; every operation works on it. Operations take constant time,
/// or time linear in what they copy or read, and what stream, factory and callback take.
class HTTPCLIENT_CORE_EXPORT HttpResponse : public HttpMessage {
public:
    /// Code -1, reason "Request Not Made", no headers; bodies are kept in memory.
    HttpResponse();

    /// The same, with the request's response stream factory and its callback for changes of status
    /// or headers. Nothing else of the request is taken.
    HttpResponse(const HttpRequest& request);

    HttpResponse(HttpResponse&& other) noexcept;
    HttpResponse& operator=(HttpResponse&& other) noexcept;
    ~HttpResponse() override;

    /// Each of these calls the request's callback, if there is one, and then changes the headers as
    /// HttpMessage does.
    void setHeaders(HttpHeaders headers) override;
    void setHeaderValue(const std::string& name, std::string value) override;
    void addHeaderValue(const std::string& name, std::string value) override;
    void addHeader(const std::string& line) override;
    void removeHeader(const std::string& name) override;

    /// Status code; -1 means that there is no response yet. Setting it calls the request's callback
    /// first, once, with or without a reason.
    HttpResponseCode getResponseCode() const;
    void setResponseCode(HttpResponseCode code);
    std::string getResponseCodeReason() const;
    void setResponseCodeAndReason(HttpResponseCode code, std::string reason);

    /// 0 redirects and an empty URL by default. Setting it does not call the callback.
    TransactionReport getTransactionReport() const;
    void setTransactionReport(TransactionReport report);

    /// The body stream, owned by the response. The first call makes it: the factory is called with
    /// the code, the reason and the headers of that moment, under the response's lock, so it must
    /// not ask for this response's body itself.
    /// @throws std::bad_function_call if the factory is empty; std::logic_error "Response stream
    /// factory returned no stream." if it returns none. The response stays without a stream.
    std::iostream& getResponseBody() const;

    /// What is left to read of the body, which is at its end afterwards. Makes the stream if there
    /// is none yet. Linear in what is read. Throws as getResponseBody() does.
    std::string getResponseBodyString() const;

    /// Sets Content-Length to the length of `body` in bytes and writes `body` to the body stream,
    /// at its current write position. A stream that takes no bytes shows it by its state, not
    /// here. Throws as getResponseBody() does, and what the callback throws.
    void setResponseBody(std::string body);

    /// Takes back what was written to the body, for a fresh attempt. If the stream began at
    /// position 0, the factory makes a new stream in place of it; else the write position goes back
    /// to where it began, and bytes behind it stay until they are overwritten. Nothing happens if
    /// there is no stream, if nothing was written, or if the stream cannot tell its position.
    /// Throws as getResponseBody() does; the response then keeps the old stream.
    void resetResponseBody();

private:
    HTTPCLIENT_CORE_HIDDEN void announceChange() const;
    HTTPCLIENT_CORE_HIDDEN std::unique_ptr<std::iostream> makeStream() const;

    HttpResponseCode responseCode_;
    std::string responseCodeReason_;
    TransactionReport transactionReport_;
    ResponseStreamFactory responseStreamFactory_;
    std::function<void()> preRespCodeAndHeadersCallback_;
    mutable std::unique_ptr<std::iostream> responseBody_;
    mutable std::streampos bodyStartPosition_;
    mutable std::mutex bodyMutex_;
};

}  // namespace tavrin::httpclient_core
