#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "httpclient_core/messages.h"
#include "httpclient_curl/curl_options.h"
#include "kept_sockets.h"
#include "request_headers.h"
#include "request_url.h"
#include "settings.h"

namespace tavrin::httpclient_curl::detail {

// What libcurl calls while it carries out an exchange. None of these throws: an exception must not
// pass through libcurl. A refusal ends the exchange.
class ExchangeListener {
public:
    virtual ~ExchangeListener() = default;
    // `bytesCame`: on a kept connection, before anything of this exchange was sent.
    virtual bool aboutToSend(bool bytesCame) noexcept = 0;
    virtual bool headerLine(std::string_view line) noexcept = 0;
    // The body, and before it the head: each of its lines, in pieces if it is long, is shown here
    // before libcurl takes it apart and before headerLine() gets it.
    virtual bool bytes(std::string_view piece) noexcept = 0;
    // Number of bytes, 0 at the end, or CURL_READFUNC_ABORT.
    virtual std::size_t readBody(char* to, std::size_t size) noexcept = 0;
    virtual bool rewindBody() noexcept = 0;
};

// One request as it goes on the wire.
struct Exchange {
    const RequestUrl& url;
    httpclient_core::HttpMethod method;
    bool hasBody;
    std::int64_t bodyLength;  // BodyFraming::CHUNKED: known at its end only
    const HeaderList& headers;
    const Settings& settings;
    bool decode;
};

// A libcurl handle that is used again and again. Options are set where they differ from the last
// exchange's: resetting the handle and setting all of them again costs a small request almost a
// third of its time.
class EasyHandle {
public:
    // For the MultiHandle whose sockets these are. Throws std::bad_alloc, and
    // HttpRequestFailedException for options that libcurl refuses.
    EasyHandle(const CurlOptions& options, const KeptSockets& sockets);
    EasyHandle(const EasyHandle&) = delete;
    EasyHandle& operator=(const EasyHandle&) = delete;

    CURL* get() const { return handle_.get(); }

    // The URL in libcurl's form, parsed only if it differs from the last one's: parsing costs a
    // small request a tenth of its instructions. Throws HttpRequestFailedException.
    std::shared_ptr<const RequestUrl> parsed(const httpclient_core::URL& url);

    // Makes the handle ready to be added to a MultiHandle. What `exchange` refers to lives as long
    // as it is there. If this throws, the handle is of no further use.
    void prepare(const Exchange& exchange, ExchangeListener& listener);
    bool isUsable() const { return !halfSet_; }

    // Of the exchange that was prepared last.
    const char* errorText() const { return error_; }
    void forbidReuse();
    // Called when the head is complete: libcurl hands the content over as it comes, though it was
    // told to decode.
    void leaveContentCoded();
    long httpVersion() const;
    long bytesSent() const;

private:
    struct Cleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
        void operator()(curl_slist* lines) const { curl_slist_free_all(lines); }
    };

    static int onPrerequest(void* self, char* remote, char* local, int remotePort, int localPort);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onRead(char* to, std::size_t size, std::size_t count, void* self);
    static int onSeek(void* self, curl_off_t offset, int origin);

    void setMethod(const Exchange& exchange);
    void setHeaders(const HeaderList& headers);
    void setTrust(const std::string& certificateFile);
    void setCredentials(const RequestUrl& url);
    void setProxy(const std::string& text);
    template <typename Value>
    void set(CURLoption option, Value value);

    const KeptSockets& sockets_;
    std::unique_ptr<curl_slist, Cleanup> headerLines_;
    std::unique_ptr<CURL, Cleanup> handle_;
    ExchangeListener* listener_ = nullptr;
    char error_[CURL_ERROR_SIZE] = "";
    std::string systemCaFile_;
    std::string systemCaPath_;
    httpclient_core::URL url_;
    std::shared_ptr<const RequestUrl> parsedUrl_;

    // What the handle is set to now, while it is usable.
    bool halfSet_ = false;
    std::string method_;
    HeaderList headers_;
    std::string certificateFile_;
    std::string proxy_;
    std::int64_t connectTimeout_ = -1;
    bool decode_ = false;
    bool hasCredentials_ = false;
    bool reuseForbidden_ = false;
    bool leftCoded_ = false;
    long maxIdleSeconds_ = -1;
};

// Whether a request may be carried out twice without harm (RFC 9110, 9.2.2).
bool isIdempotent(httpclient_core::HttpMethod method);

}  // namespace tavrin::httpclient_curl::detail
