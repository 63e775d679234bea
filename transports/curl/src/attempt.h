#pragma once

#include <curl/curl.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "content_decoder.h"
#include "easy_handle.h"
#include "httpclient_core/messages.h"
#include "httpclient_curl/curl_options.h"
#include "logical_request.h"
#include "redirect_policy.h"
#include "request_body.h"
#include "response_head.h"
#include "response_sink.h"
#include "time_limits.h"

namespace tavrin::httpclient_curl::detail {

// One attempt of a request: one exchange with a server, or several where it is redirected or where
// a range is not what was wanted. It is driven by the thread that carries it:
//
//     bool more = attempt.start(easy, clock);
//     while (more) { add easy to a multi handle; while it runs, call keepsGoing(); take it off;
//                    more = attempt.exchangeEnded(code) or attempt.exchangeStopped(); }
//     attempt.failure() tells what came of it.
class Attempt final : private ExchangeListener {
public:
    Attempt(httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response,
            LogicalRequest& logical, const CurlOptions& options);

    // Prepares the first exchange on `easy`; false if the attempt is over already.
    bool start(EasyHandle& easy, WireClock& clock) noexcept;

    // Reports progress and watches the limits; false if the exchange is to be stopped.
    bool keepsGoing() noexcept;

    // How long the thread may wait, at most, before it calls keepsGoing() again.
    Clock::duration patience() const;

    // The exchange ran to its end: true if another one was prepared on the same handle.
    bool exchangeEnded(CURLcode code) noexcept;

    // The exchange was taken off because keepsGoing() said so.
    void exchangeStopped() noexcept { end(); }

    // Makes the attempt, whose exchange is going to be stopped, end with this failure.
    void fail(std::exception_ptr failure) noexcept;

    // What the attempt failed with; null if it succeeded or goes on.
    std::exception_ptr failure() const { return failure_; }

private:
    enum class Verdict { DELIVER, REDIRECT, ASK_FOR_WHOLE, WITHOUT_EXPECT, ON_ANOTHER_CONNECTION };

    bool aboutToSend(bool bytesCame) noexcept override;
    bool headerLine(std::string_view line) noexcept override;
    bool bytes(std::string_view piece) noexcept override;
    std::size_t readBody(char* to, std::size_t size) noexcept override;
    bool rewindBody() noexcept override;

    // Runs `step`; what it throws becomes the attempt's failure and false is returned.
    template <typename Step>
    bool guarded(Step step) noexcept;
    std::exception_ptr named(const std::exception_ptr& failure) const noexcept;
    // The same for a step that is held up by the application's own code.
    template <typename Step>
    void excused(Step step);

    void planFirstExchange();
    void planRange();
    bool isWishOfAnotherFrame(const std::string& range) const;
    void makeBody(const BodyFraming& framing);
    void prepareExchange();
    void followRedirect();
    void headComplete();
    void bodyBytes(std::string_view piece);
    void deliverBytes(std::string_view content);
    void judge();
    void deliver(std::int64_t length);
    void complete();
    void checkClosure() const;
    void checkLength() const;
    void checkCoding() const;
    void end() noexcept;
    void report(bool last);
    httpclient_core::ProgressResult callProgressCallback() const;
    bool responseHasBody() const;

    httpclient_core::HttpRequest& request_;
    httpclient_core::HttpResponse& response_;
    LogicalRequest& logical_;
    const CurlOptions& options_;
    const Settings& settings_;
    const httpclient_core::ProgressCallback progress_;
    // Not once it has ended the attempt itself, or the client's end has.
    bool wantsReports_;

    EasyHandle* easy_ = nullptr;
    WireClock* clock_ = nullptr;
    std::exception_ptr failure_;

    // What goes on the wire now.
    httpclient_core::HttpMethod method_;
    std::shared_ptr<const RequestUrl> url_;
    HeaderList headers_;
    std::unique_ptr<BodySource> body_;
    bool resuming_ = false;
    bool decode_ = false;
    long redirects_ = 0;

    // What came of it.
    ResponseHead head_;
    ResponseSink sink_;
    TimeLimits limits_;
    Verdict verdict_ = Verdict::DELIVER;
    int sendings_ = 0;
    long sentBefore_ = 0;  // to a proxy, for a tunnel
    std::int64_t dropped_ = 0;
    std::optional<std::string> location_;
    bool delivering_ = false;
    std::unique_ptr<ContentDecoder> decoder_;  // null while libcurl decodes, or nobody
    bool watchesClosure_ = false;
    bool closureSeen_ = false;
    std::int64_t announced_ = -1;
    std::int64_t uploaded_ = 0;
    Clock::time_point reportedAt_;
};

}  // namespace tavrin::httpclient_curl::detail
