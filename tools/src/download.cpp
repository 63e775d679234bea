#include "download.h"

#include <httpclient_core/exceptions.h>
#include <httpclient_core/retry.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <utility>

#include "failures.h"
#include "interruption.h"
#include "representation.h"
#include "response_head.h"
#include "safe_file_name.h"
#include "url_parts.h"

namespace tavrin::http_tool {

namespace core = httpclient_core;

namespace {

// The 206 to a request of ours does not carry what it was asked for.
class RangeFailure : public core::HttpRequestFailedException {
public:
    using HttpRequestFailedException::HttpRequestFailedException;
};

std::string counted(std::int64_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

bool isRangeFailure(const std::exception_ptr& error) {
    if (!error) return false;
    try {
        std::rethrow_exception(error);
    } catch (const RangeFailure&) {
        return true;
    } catch (...) {
        return false;
    }
}

std::string nameFor(const core::HttpResponse& response, const std::string& output) {
    std::string name;
    if (response.hasHeader("Content-Disposition")) {
        name = nameFromContentDisposition(response.getHeaderValue("Content-Disposition"));
    }
    return name.empty() ? std::filesystem::path(output).filename().string() : name;
}

}  // namespace

// Bodies of answers that are no success, out of the way until it is known whether one of them is
// the last word: it must not take the place of what has been downloaded. What is not wanted even
// then needs no place at all.
class Download::ErrorBody {
public:
    explicit ErrorBody(bool wanted)
        : file_(wanted ? std::tmpfile() : std::fopen("/dev/null", "r+e")) {
        if (!file_) throw writeFailure("make a temporary file", errno);
        output_.emplace(fileno(file_.get()), Output::Access::ANYWHERE, "a temporary file");
    }

    Output& output() { return *output_; }

    void copyTo(std::ostream& stream) {
        std::rewind(file_.get());
        std::array<char, 16384> buffer{};
        while (const auto size = std::fread(buffer.data(), 1, buffer.size(), file_.get())) {
            stream.write(buffer.data(), static_cast<std::streamsize>(size));
        }
    }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
    std::optional<Output> output_;
};

Download::Download(const core::HttpClient& client, const CommandLine& line,
                   const core::ClientConfiguration& configuration, const Assignment& assignment,
                   ProgressDisplay& display)
    : client_(client),
      line_(line),
      configuration_(configuration),
      assignment_(assignment),
      display_(display),
      displayNumber_(display.add(assignment.label)),
      retryPolicy_(
          line, start_, [this](std::chrono::milliseconds time) { return waitFor(time); },
          [this](const std::string& text) {
              if (!line_.silent) say(text);
          }) {}

Download::~Download() = default;

ExitCode Download::run() {
    ExitCode code = ExitCode::OK;
    try {
        target_ = targetFor(assignment_, line_.resume);
        deliver(makeRequests());
    } catch (...) {
        code = report(std::current_exception());
    }
    display_.finish(displayNumber_);
    return code;
}

core::HttpResponse Download::makeRequests() {
    while (true) {
        nextIsOurs_ = false;
        try {
            core::HttpResponse response = client_.makeRequest(nextRequest());
            if (nextIsOurs_) continue;
            // An error page after which no time was left for another attempt is no answer.
            if (!core::isSuccess(response) && (interruptingSignal() != 0 || pastDeadline())) {
                throw core::HttpRequestCancelledException();
            }
            return response;
        } catch (...) {
            if (!nextIsOurs_) throw;
        }
    }
}

core::HttpRequest Download::nextRequest() {
    core::HttpRequest request = requestFor(line_, assignment_.url);
    errorBody_.reset();
    continued_ = heldForThis();
    if (continued_) {
        // Of a file that is whole already the last byte is asked for, to learn whether it is
        // current.
        offset_ = std::min(continued_->size, continued_->representation.length - 1);
        request.setHeaderValue("Range", "bytes=" + std::to_string(offset_) + "-");
        request.setHeaderValue("If-Range", continued_->representation.validator);
    }
    core::ClientConfiguration configuration = configuration_;
    configuration.setRetryStrategy(
        [this](const auto& sent, const auto& response, const auto& error, int total,
               int consecutive) { return decide(sent, response, error, total, consecutive); });
    request.setClientConfiguration(std::move(configuration));
    request.setResponseStreamFactory([this](auto code, const auto& reason, const auto& headers) {
        return bodyStream(code, reason, headers);
    });
    request.setProgressCallback([this](const core::Progress& progress) { return watch(progress); });
    return request;
}

// What an earlier run left counts only if it was asked for.
std::optional<PartFile::Held> Download::heldForThis() const {
    const bool wanted =
        line_.resume && line_.method == core::HttpMethod::GET && (begun_ || line_.continueEarlier);
    return wanted ? target_->held() : std::nullopt;
}

bool Download::decide(const core::HttpRequest& request, const core::HttpResponse& response,
                      const std::exception_ptr& error, int totalAttempts, int consecutiveAttempts) {
    const bool elsewhere = isFromElsewhere(response);
    // Nobody knows which of the bytes are wrong.
    if (elsewhere || (error && exitCodeFor(error) == ExitCode::CHECKSUM)) target_->forget();
    if (target_->output().errorNumber() != 0 || interruptingSignal() != 0) return false;
    const auto code = response.getResponseCode();
    const bool stale =
        elsewhere || isRangeFailure(error) || code == core::HttpResponseCode::RANGE_NOT_SATISFIABLE;
    if (continued_ && stale) {
        target_->forget();
        nextIsOurs_ = true;
        return false;
    }
    if (!retryPolicy_.shouldRetry(request, response, error, totalAttempts, consecutiveAttempts)) {
        return false;
    }
    if (libraryGoesOn(response)) return true;
    retryPolicy_.startNewCount();
    nextIsOurs_ = true;
    return false;
}

// A validator tells the versions of one resource apart, and a redirect may lead to another one. A
// query often does no more than to sign the path for a while. Where the bytes of an earlier run
// came from is not known.
bool Download::isFromElsewhere(const core::HttpResponse& response) {
    if (!core::isSuccess(response)) return false;
    const std::string whole = response.getTransactionReport().effectiveURL().toAsciiString();
    const std::string url = whole.substr(0, whole.find('?'));
    const bool isRest = response.getResponseCode() == core::HttpResponseCode::PARTIAL_CONTENT;
    if (continued_ && isRest && !source_.empty() && source_ != url) return true;
    source_ = url;
    return false;
}

// Whether a further attempt of the same request gets on: it asks for what is missing, or for what
// this request asked for if nothing of that has come.
bool Download::libraryGoesOn(const core::HttpResponse& response) const {
    const auto held = heldForThis();
    if (continued_) {
        return held && held->size == continued_->size &&
               held->representation == continued_->representation;
    }
    if (!held) return true;
    const auto code = response.getResponseCode();
    if (code == static_cast<core::HttpResponseCode>(-1)) return true;
    return core::isSuccess(code) && response.hasHeader("Accept-Ranges") &&
           response.getHeaderValue("Accept-Ranges") == "bytes";
}

std::unique_ptr<std::iostream> Download::bodyStream(core::HttpResponseCode code,
                                                    const std::string& reason,
                                                    const core::HttpHeaders& headers) {
    total_ = contentLength(headers).value_or(0);
    if (!core::isSuccess(code)) {
        errorBody_ = std::make_unique<ErrorBody>(!isFailure(code));
        return errorBody_->output().streamFrom(0);
    }
    if (continued_ && line_.compressed && hasCoding(headers)) {
        // Only what answers a request without a range is decoded.
        throw RangeFailure("the server sent coded content in place of the rest");
    }
    if (continued_ && code == core::HttpResponseCode::PARTIAL_CONTENT) return restStream(headers);
    begun_ = true;
    const bool whole = code == core::HttpResponseCode::OK && line_.method == core::HttpMethod::GET;
    return target_->begin(line_.includeHead ? responseHead(code, reason, headers) : "",
                          whole ? representationOf(headers) : std::nullopt);
}

std::unique_ptr<std::iostream> Download::restStream(const core::HttpHeaders& headers) {
    if (!continues(headers, continued_->representation, offset_)) {
        throw RangeFailure("the server sent other bytes than those that are missing");
    }
    total_ = continued_->representation.length;
    digest_ = continued_->representation.digest;
    if (!digest_) digest_ = announcedDigest(headers);
    return target_->continueFrom(offset_);
}

core::ProgressResult Download::watch(const core::Progress& progress) {
    if (interruptingSignal() != 0 || pastDeadline()) return core::ProgressResult::CANCEL;
    const bool sending = progress.uploadTotal > 0 && progress.downloadNow == 0;
    if (sending) {
        display_.update(displayNumber_, progress.uploadNow, progress.uploadTotal);
    } else {
        display_.update(displayNumber_, target_->output().end(), total_);
    }
    return core::ProgressResult::CONTINUE;
}

void Download::deliver(const core::HttpResponse& response) {
    const auto code = response.getResponseCode();
    if (isFailure(code)) throw HttpErrorFailure(answerText(response));
    if (line_.verbose) {
        const auto report = response.getTransactionReport();
        say("answered " + core::to_string(code) + " after " +
            counted(report.redirectCount(), "redirect") + ", " +
            counted(retryPolicy_.attempts(), "attempt"));
    }
    if (!core::isSuccess(code) && (begun_ || continued_)) {
        throw core::HttpRequestFailedException("incomplete body: " + answerText(response) +
                                               " in place of the rest");
    }
    // A condition of the user's own did not hold: what there is already is what was asked for.
    if (code == core::HttpResponseCode::NOT_MODIFIED && !showsHead()) return;
    if (core::isSuccess(code) && line_.method != core::HttpMethod::HEAD) {
        // An answer without a body leaves an empty file, not none.
        response.getResponseBody();
        if (continued_ && code == core::HttpResponseCode::PARTIAL_CONTENT) checkContinued();
    } else {
        deliverHere(response);
    }
    target_->finish(assignment_.serverNames ? nameFor(response, assignment_.output) : "");
    display_.update(displayNumber_, target_->output().end(), target_->output().end());
}

bool Download::isFailure(core::HttpResponseCode code) const {
    return line_.failOnHttpError && static_cast<int>(code) >= 400;
}

// A head without a body, or an answer that is no success and yet what was asked for.
void Download::deliverHere(const core::HttpResponse& response) {
    const auto stream = target_->begin(
        showsHead() ? responseHead(response.getResponseCode(), response.getResponseCodeReason(),
                                   response.getHeaders())
                    : "",
        std::nullopt);
    // A 304 has no body; what is there then is the one of an attempt before.
    const bool hasBody = response.getResponseCode() != core::HttpResponseCode::NOT_MODIFIED;
    if (errorBody_ && hasBody) errorBody_->copyTo(*stream);
}

bool Download::showsHead() const {
    return line_.includeHead || line_.method == core::HttpMethod::HEAD;
}

// The transport has seen only the rest.
void Download::checkContinued() const {
    const auto length = continued_->representation.length;
    const auto end = target_->output().end();
    if (end != length) {
        throw core::HttpRequestFailedException("incomplete body: " + std::to_string(end) + " of " +
                                               std::to_string(length) + " bytes");
    }
    if (digest_ && target_->checksum(digest_->algorithm) != digest_->hex) {
        target_->forget();
        throw core::HttpRequestFailedException(
            "digest: the body is not what its Repr-Digest tells");
    }
}

ExitCode Download::report(const std::exception_ptr& error) {
    if (const int signal = interruptingSignal(); signal != 0) {
        reportKept();
        return static_cast<ExitCode>(128 + signal);
    }
    ExitCode code = exitCodeFor(error);
    std::string text = textOf(error);
    if (pastDeadline()) {
        code = ExitCode::TIMED_OUT;
        text = "not done within " + std::to_string(line_.maxTime->count()) + " ms";
    } else if (target_ && target_->output().errorNumber() != 0) {
        // The transport only knows that its stream went bad.
        try {
            target_->output().check();
        } catch (const WriteFailure& failure) {
            code = ExitCode::NOT_WRITTEN;
            text = failure.what();
        }
    }
    if (!line_.silent || line_.showError) say(text);
    reportKept();
    return code;
}

// Says how to go on, where that is possible.
void Download::reportKept() {
    if (line_.silent || !target_ || !begun_) return;
    const auto held = heldForThis();
    if (!held) return;
    say(formatBytes(held->size) + " of " + formatBytes(held->representation.length) +
        " are kept in \"" + assignment_.output + ".part\"; --continue goes on with them");
}

bool Download::pastDeadline() const {
    return line_.maxTime && line_.maxTime->count() > 0 && Clock::now() - start_ >= *line_.maxTime;
}

bool Download::waitFor(std::chrono::milliseconds time) const {
    if (line_.maxTime && line_.maxTime->count() > 0) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(start_ + *line_.maxTime - Clock::now());
        time = std::clamp(left, std::chrono::milliseconds(0), time);
    }
    return waitUninterrupted(time) && !pastDeadline();
}

void Download::say(const std::string& text) {
    display_.message("tavrin-http: " + withoutCredentials(assignment_.url) + ": " + text);
}

}  // namespace tavrin::http_tool
