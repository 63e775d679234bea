#include "attempt.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "multipart_source.h"
#include "resume_gate.h"
#include "tls_session.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestTimeoutException;
using httpclient_core::HttpResponse;
using httpclient_core::Progress;
using httpclient_core::ProgressResult;
using httpclient_core::TransactionReport;
using httpclient_core::URL;

namespace {

using std::chrono::milliseconds;

// Often enough for a bar that moves smoothly and for a cancellation that is felt at once.
constexpr milliseconds PROGRESS_INTERVAL{50};

// Without a progress callback a thread looks after its limits, and a client's end, so often.
constexpr milliseconds LONGEST_WAIT{100};

// Whether what goes to such a URL passes the proxy without its looking at it.
bool tunnels(const std::string& proxy, const RequestUrl& url) {
    if (proxy.empty()) return false;
    const bool socks = proxy.find("://") != std::string::npos &&
                       equalIgnoringCase(std::string_view(proxy).substr(0, 5), "socks");
    return socks || url.isSecure();
}

// The body of a redirect is read to its end, so that the connection can be kept, but no further
// than this.
constexpr std::int64_t MOST_DROPPED_BYTES = 256 * 1024;

}  // namespace

Attempt::Attempt(HttpRequest& request, HttpResponse& response, LogicalRequest& logical,
                 const CurlOptions& options)
    : request_(request),
      response_(response),
      logical_(logical),
      options_(options),
      settings_(*logical.settings),
      progress_(request.hasProgressCallback() ? request.getProgressCallback() : nullptr),
      wantsReports_(progress_ != nullptr),
      method_(request.getHttpMethod()),
      head_({options.maxHeaderBytes(), options.maxHeaderCount()}),
      sink_(request, response, logical) {
    ++logical_.attempts;
}

template <typename Step>
bool Attempt::guarded(Step step) noexcept {
    try {
        step();
        return true;
    } catch (...) {
        failure_ = named(std::current_exception());
    }
    return false;
}

// Says of which host a malformed response is; other failures say themselves what they are about.
std::exception_ptr Attempt::named(const std::exception_ptr& failure) const noexcept {
    try {
        std::rethrow_exception(failure);
    } catch (const MalformedHead& malformed) {
        try {
            return std::make_exception_ptr(
                failed(url_->host(), "malformed response", malformed.reason));
        } catch (...) {
            return std::current_exception();
        }
    } catch (...) {
        return failure;
    }
}

template <typename Step>
void Attempt::excused(Step step) {
    struct Excuse {
        WireClock& clock;
        const Clock::time_point from = Clock::now();
        ~Excuse() { clock.excuse(Clock::now() - from); }
    } excuse{*clock_};
    step();
}

bool Attempt::start(EasyHandle& easy, WireClock& clock) noexcept {
    easy_ = &easy;
    clock_ = &clock;
    const bool prepared = guarded([this] {
        if (logical_.cancelled) throw HttpRequestCancelledException();
        planFirstExchange();
        prepareExchange();
    });
    if (!prepared) end();
    return prepared;
}

void Attempt::planFirstExchange() {
    url_ = easy_->parsed(request_.getURL());
    method_ = request_.getHttpMethod();
    redirects_ = 0;
    BodyFraming framing;
    headers_ = checkedHeaders(request_, framing);
    if (tunnels(settings_.proxy, *url_) && findHeader(headers_, "Proxy-Authorization") != nullptr) {
        throw refused(
            "its Proxy-Authorization would not go to the proxy, whose URL has room for a user and "
            "a password");
    }
    makeBody(framing);
    planRange();
    decode_ = options_.decodeContent() && findHeader(headers_, "Accept-Encoding") == nullptr &&
              !logical_.ownRange;
}

// The frame puts its own wish in place of the application's Range, and leaves it there when it is
// void; but not before an attempt got as far as this.
void Attempt::planRange() {
    if (logical_.firstPlanned == 0) logical_.firstPlanned = logical_.attempts;
    if (logical_.firstPlanned == logical_.attempts) {
        const std::string* own = findHeader(headers_, "Range");
        if (own == nullptr) return;
        if (!isWishOfAnotherFrame(*own)) {
            logical_.ownRange = *own;
            return;
        }
    }
    removeHeader(headers_, "Range");
    if (logical_.ownRange) {
        headers_.emplace_back("Range", *logical_.ownRange);
        return;
    }
    const bool askedForWhole = verdict_ == Verdict::ASK_FOR_WHOLE;
    resuming_ = !askedForWhole && mayResume(request_, response_, logical_);
    if (!resuming_) return;
    removeHeader(headers_, "If-Range");
    headers_.emplace_back("Range", "bytes=" + std::to_string(logical_.held.count) + "-");
    headers_.emplace_back("If-Range", logical_.held.validator);
}

// Another client's frame that uses this one as its transport may wish for the rest of bytes of
// which nothing is known here. It does so only after an answer was shown in the response, whose
// report outlives the retry.
bool Attempt::isWishOfAnotherFrame(const std::string& range) const {
    return logical_.alone && range.rfind("bytes=", 0) == 0 && range.back() == '-' &&
           response_.getTransactionReport().effectiveURL() != URL();
}

void Attempt::makeBody(const BodyFraming& framing) {
    body_.reset();
    if (request_.hasMultipartBody()) {
        auto multipart =
            std::make_unique<MultipartSource>(request_.getMultipartBody(), url_->host());
        removeHeader(headers_, "Content-Type");
        headers_.emplace_back("Content-Type", multipart->contentType());
        body_ = std::move(multipart);
    } else if (request_.hasRequestBody()) {
        body_ = std::make_unique<StreamBody>(request_.getRequestBody(), framing.length, logical_,
                                             url_->host());
        if (framing.length == BodyFraming::CHUNKED)
            headers_.emplace_back("Transfer-Encoding", "chunked");
    }
}

void Attempt::prepareExchange() {
    if (body_ != nullptr) {
        body_->rewind();
        // libcurl doesn't ask for a body of no bytes, and so would not notice one that has some.
        char none = 0;
        if (body_->length() == 0) body_->read(&none, 1);
    }
    head_.restart();
    verdict_ = Verdict::DELIVER;
    location_.reset();
    sendings_ = 0;
    dropped_ = 0;
    uploaded_ = 0;
    watchesClosure_ = closureSeen_ = false;
    limits_.start(settings_, *clock_);
    easy_->prepare({*url_, method_, body_ != nullptr, body_ ? body_->length() : 0, headers_,
                    settings_, decode_ && !resuming_},
                   *this);
}

bool Attempt::aboutToSend(bool bytesCame) noexcept {
    return guarded([&] {
               // libcurl sends a request again, up to five times, when a kept connection turns out
               // to be dead.
               const int allowed = isIdempotent(method_) ? 2 : 1;
               if (sendings_ == allowed) {
                   throw failed(url_->host(), "sending",
                                "the connection was closed before an answer came");
               }
               if (bytesCame) {
                   // The rest of an earlier answer, or a farewell: no answer to this request,
                   // though libcurl would take them for one (RFC 9112, 6.3).
                   easy_->forbidReuse();
                   verdict_ = Verdict::ON_ANOTHER_CONNECTION;
                   return;
               }
               ++sendings_;
               sentBefore_ = easy_->bytesSent();
               limits_.connected();
               if (body_ == nullptr || body_->length() == 0) limits_.sent();
           }) &&
           verdict_ != Verdict::ON_ANOTHER_CONNECTION;
}

std::size_t Attempt::readBody(char* to, std::size_t size) noexcept {
    std::size_t count = 0;
    const bool good = guarded([&] {
        const Clock::time_point from = Clock::now();
        excused([&] { count = body_->read(to, size); });
        limits_.heldUp(Clock::now() - from);
        uploaded_ += static_cast<std::int64_t>(count);
        limits_.moved(count);
        if (count == 0 || uploaded_ == body_->length()) limits_.sent();
    });
    return good ? count : CURL_READFUNC_ABORT;
}

bool Attempt::rewindBody() noexcept {
    return guarded([this] {
        uploaded_ = 0;
        if (body_ != nullptr) body_->rewind();
    });
}

bool Attempt::headerLine(std::string_view line) noexcept {
    return guarded([&] {
               limits_.moved(line.size());
               if (!head_.complete()) limits_.headBegan();
               switch (head_.add(line)) {
                   case ResponseHead::Stage::OPEN:
                       break;
                   case ResponseHead::Stage::INTERIM:
                       limits_.interim();
                       break;
                   case ResponseHead::Stage::COMPLETE:
                       headComplete();
                       break;
               }
           }) &&
           verdict_ != Verdict::ASK_FOR_WHOLE;
}

void Attempt::headComplete() {
    limits_.bodyBegan();
    std::int64_t length = -1;
    if (!head_.isChunked()) {
        length = head_.contentLength();
    } else if (head_.value("Content-Length") != nullptr) {
        // Somebody on the way may have read it otherwise, and what follows on the connection with
        // it.
        easy_->forbidReuse();
    }
    judge();
    if (verdict_ == Verdict::DELIVER) deliver(length);
}

void Attempt::judge() {
    const int code = head_.code();
    const bool follows = isRedirect(code) && settings_.followRedirects;
    if (const std::string* location = follows ? head_.value("Location") : nullptr) {
        for (const auto& [name, value] : head_.headers()) {
            if (equalIgnoringCase(name, "Location") && value != *location) {
                throw failed(url_->host(), "redirect", "there are two Location fields that differ");
            }
        }
        if (redirects_ >= settings_.maxRedirects) {
            throw failed(url_->host(), "redirect",
                         "more than maxRedirects = " + std::to_string(settings_.maxRedirects));
        }
        verdict_ = Verdict::REDIRECT;
        location_ = *location;
        return;
    }
    if (code == 417 && findHeader(headers_, "Expect") != nullptr) {
        verdict_ = Verdict::WITHOUT_EXPECT;
        return;
    }
    if (code != 206) {
        resuming_ = false;
    } else if (resuming_) {
        if (!fitsHeldBytes(head_, *url_, logical_.held)) verdict_ = Verdict::ASK_FOR_WHOLE;
    } else if (findHeader(headers_, "Range") == nullptr) {
        throw failed(url_->host(), "range", "a part came that nobody asked for");
    }
}

bool Attempt::responseHasBody() const {
    return method_ != HttpMethod::HEAD && head_.code() != 204 && head_.code() != 304;
}

// `length` is what the head announces of the body, -1 if nothing.
void Attempt::deliver(std::int64_t length) {
    const bool coded = decode_ && head_.isEncoded();
    decoder_ = coded ? ContentDecoder::of(head_.allValues("Content-Encoding")) : nullptr;
    if (decoder_ != nullptr) easy_->leaveContentCoded();
    // Who asks for the rest of a body asks for no coding, but may get one; libcurl leaves it alone.
    const bool decoded = decoder_ != nullptr || (coded && findHeader(headers_, "Range") == nullptr);
    decode_ = decoded;
    announced_ = decoded || !responseHasBody() ? -1 : length;
    if (url_->isSecure() && length < 0 && !head_.isChunked() && responseHasBody() &&
        easy_->httpVersion() < CURL_HTTP_VERSION_2_0) {
        watchesClosure_ = watchTlsClosure(easy_->get(), &closureSeen_);
    }
    const bool asGiven = redirects_ == 0 && !url_->hasCredentials();
    excused([&] {
        if (resuming_) {
            sink_.beginAppending(url_->host());
        } else {
            sink_.beginFresh(head_, responseHasBody(), decoded, *url_);
        }
        response_.setTransactionReport(
            TransactionReport(redirects_, asGiven ? request_.getURL() : URL(url_->text())));
    });
    delivering_ = true;
}

bool Attempt::bytes(std::string_view piece) noexcept {
    return guarded([&] {
               if (head_.complete()) {
                   bodyBytes(piece);
               } else {
                   head_.check(piece);
               }
           }) &&
           dropped_ <= MOST_DROPPED_BYTES;
}

void Attempt::bodyBytes(std::string_view piece) {
    limits_.moved(piece.size());
    if (!delivering_) {
        dropped_ += static_cast<std::int64_t>(piece.size());
        return;
    }
    if (decoder_ == nullptr) {
        deliverBytes(piece);
    } else if (!decoder_->decode(piece,
                                 [this](std::string_view content) { deliverBytes(content); })) {
        throw failed(url_->host(), "malformed response", "its coded content is damaged");
    }
}

void Attempt::deliverBytes(std::string_view content) {
    if (decode_ && options_.maxDecodedBytes() > 0 &&
        sink_.written() + static_cast<std::int64_t>(content.size()) > options_.maxDecodedBytes()) {
        throw failed(url_->host(), "malformed response",
                     "its decoded body has more than maxDecodedBytes = " +
                         std::to_string(options_.maxDecodedBytes()) + " bytes");
    }
    excused([&] { sink_.write(content.data(), content.size()); });
}

bool Attempt::exchangeEnded(CURLcode code) noexcept {
    bool again = false;
    guarded([&] {
        if (failure_ != nullptr) return;
        if (verdict_ == Verdict::DELIVER) {
            if (code == CURLE_OPERATION_TIMEDOUT && limits_.mayConnect()) {
                // What took so long was on our side, and nothing has been sent.
                again = true;
                return;
            }
            if (code == CURLE_OUT_OF_MEMORY && sendings_ > 0 && !head_.complete()) {
                // What libcurl says of a head that is too long for it, and of a line of one.
                if (easy_->bytesSent() == sentBefore_) {
                    throw refused(
                        "its URL and header fields have more than 1 MiB, or memory has run out");
                }
                throw MalformedHead{
                    "a line of its head has more than 100 KiB, or memory has run out"};
            }
            if (code != CURLE_OK) {
                failure_ = failureOf(code, url_->host(), easy_->errorText(), settings_);
            } else {
                complete();
            }
            return;
        }
        const int sendings = verdict_ == Verdict::ON_ANOTHER_CONNECTION ? sendings_ : 0;
        if (verdict_ == Verdict::REDIRECT) {
            followRedirect();
        } else if (verdict_ == Verdict::ASK_FOR_WHOLE) {
            planFirstExchange();
        } else if (verdict_ == Verdict::WITHOUT_EXPECT) {
            removeHeader(headers_, "Expect");
        }
        prepareExchange();
        sendings_ = sendings;
        again = true;
    });
    if (!again) end();
    return again;
}

void Attempt::followRedirect() {
    RequestUrl target = url_->resolve(*location_);
    if (url_->isSecure() && !target.isSecure() && !options_.allowHttpsToHttpRedirects()) {
        throw failed(url_->host(), "redirect", "it leads from https to http");
    }
    if (becomesGet(head_.code(), method_)) {
        method_ = HttpMethod::GET;
        body_.reset();
        dropBodyHeaders(headers_);
        removeHeader(headers_, "Transfer-Encoding");
    }
    if (!url_->sameOrigin(target)) {
        const bool chunked = findHeader(headers_, "Transfer-Encoding") != nullptr;
        keepSafeHeaders(headers_, body_ != nullptr);
        if (chunked) headers_.emplace_back("Transfer-Encoding", "chunked");
    }
    url_ = std::make_shared<const RequestUrl>(std::move(target));
    ++redirects_;
}

void Attempt::complete() {
    if (!delivering_) throw failed(url_->host(), "malformed response", "it has no head");
    checkClosure();
    checkLength();
    checkCoding();
    excused([this] { sink_.finish(); });
    report(true);
}

// libcurl does so itself, but not where a Transfer-Encoding of identity stands beside the length.
void Attempt::checkLength() const {
    if (announced_ >= 0 && sink_.written() != announced_) {
        throw failed(
            url_->host(), "incomplete body",
            std::to_string(sink_.written()) + " of " + std::to_string(announced_) + " bytes came");
    }
}

void Attempt::checkCoding() const {
    if (decoder_ != nullptr && !decoder_->isComplete())
        throw failed(url_->host(), "incomplete body", "its coded content ends too early");
}

void Attempt::checkClosure() const {
    if (watchesClosure_ && !closureSeen_) {
        throw failed(url_->host(), "incomplete body",
                     "the TLS connection ended without a close_notify");
    }
}

void Attempt::end() noexcept {
    if (failure_ == nullptr) return;
    sink_.keepHeldBytes();
    if (!wantsReports_ || (sink_.written() == 0 && uploaded_ == 0)) return;
    try {
        excused([this] { callProgressCallback(); });
    } catch (...) {
        // What the attempt has failed with came first.
    }
}

void Attempt::fail(std::exception_ptr failure) noexcept {
    failure_ = std::move(failure);
    wantsReports_ = false;
}

ProgressResult Attempt::callProgressCallback() const {
    Progress progress;
    progress.downloadTotal = std::max<std::int64_t>(announced_, 0);
    progress.downloadNow = sink_.written();
    progress.uploadTotal = body_ ? std::max<std::int64_t>(body_->length(), 0) : 0;
    progress.uploadNow = uploaded_;
    return progress_(progress);
}

void Attempt::report(bool last) {
    if (!progress_) return;
    const Clock::time_point now = Clock::now();
    if (!last && now - reportedAt_ < PROGRESS_INTERVAL) return;
    reportedAt_ = now;
    ProgressResult result = ProgressResult::CONTINUE;
    wantsReports_ = false;
    excused([&] { result = callProgressCallback(); });
    if (result == ProgressResult::CANCEL) {
        logical_.cancelled = true;
        throw HttpRequestCancelledException();
    }
    wantsReports_ = true;
}

bool Attempt::keepsGoing() noexcept {
    return guarded([this] {
        report(false);
        if (limits_.exceeded()) throw HttpRequestTimeoutException();
    });
}

Clock::duration Attempt::patience() const {
    Clock::duration longest = LONGEST_WAIT;
    if (progress_) {
        const auto due = reportedAt_ + PROGRESS_INTERVAL - Clock::now();
        longest = std::clamp<Clock::duration>(due, milliseconds(1), PROGRESS_INTERVAL);
    }
    return limits_.remaining(longest);
}

}  // namespace tavrin::httpclient_curl::detail
