#pragma once

#include <httpclient_core/client.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "assignment.h"
#include "checksum.h"
#include "command_line.h"
#include "exit_code.h"
#include "progress_display.h"
#include "request.h"
#include "retry_policy.h"
#include "target.h"

namespace tavrin::http_tool {

/// Fetches one URL, with all its attempts, to its target.
///
/// The library resumes within a request. Where it cannot (what is held came from an earlier run, or
/// an error page came in between), the download goes on as another run of the program would: with a
/// request of its own for the rest. Belongs to one thread; the client may be shared.
class Download {
public:
    /// All references must stay valid until run() returns.
    Download(const httpclient_core::HttpClient& client, const CommandLine& line,
             const httpclient_core::ClientConfiguration& configuration,
             const Assignment& assignment, ProgressDisplay& display);
    ~Download();

    /// Does it all, and says what went wrong.
    ExitCode run();

private:
    using Clock = std::chrono::steady_clock;
    class ErrorBody;

    httpclient_core::HttpResponse makeRequests();
    httpclient_core::HttpRequest nextRequest();
    std::optional<PartFile::Held> heldForThis() const;
    bool decide(const httpclient_core::HttpRequest& request,
                const httpclient_core::HttpResponse& response, const std::exception_ptr& error,
                int totalAttempts, int consecutiveAttempts);
    bool isFromElsewhere(const httpclient_core::HttpResponse& response);
    bool libraryGoesOn(const httpclient_core::HttpResponse& response) const;
    std::unique_ptr<std::iostream> bodyStream(httpclient_core::HttpResponseCode code,
                                              const std::string& reason,
                                              const httpclient_core::HttpHeaders& headers);
    std::unique_ptr<std::iostream> restStream(const httpclient_core::HttpHeaders& headers);
    httpclient_core::ProgressResult watch(const httpclient_core::Progress& progress);
    bool isFailure(httpclient_core::HttpResponseCode code) const;
    bool showsHead() const;
    void checkContinued() const;
    void deliver(const httpclient_core::HttpResponse& response);
    void deliverHere(const httpclient_core::HttpResponse& response);
    ExitCode report(const std::exception_ptr& error);
    void reportKept();
    bool pastDeadline() const;
    bool waitFor(std::chrono::milliseconds time) const;
    void say(const std::string& text);

    const httpclient_core::HttpClient& client_;
    const CommandLine& line_;
    const httpclient_core::ClientConfiguration& configuration_;
    const Assignment& assignment_;
    ProgressDisplay& display_;
    std::size_t displayNumber_;
    const Clock::time_point start_ = Clock::now();
    RetryPolicy retryPolicy_;
    std::unique_ptr<Target> target_;
    std::unique_ptr<ErrorBody> errorBody_;
    // What the request under way goes on with, and from where.
    std::optional<PartFile::Held> continued_;
    std::int64_t offset_ = 0;
    // Where that, or what came since, was found in the end.
    std::string source_;
    // What the whole is to have, where an answer told it.
    std::optional<ExpectedChecksum> digest_;
    bool begun_ = false;
    // The library is to end its request so that the next one can be ours.
    bool nextIsOurs_ = false;
    std::int64_t total_ = 0;
};

}  // namespace tavrin::http_tool
