#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "httpclient_core/client.h"
#include "httpclient_testing/credentials.h"
#include "httpclient_testing/expected_request.h"
#include "httpclient_testing/export.h"
#include "httpclient_testing/recorded_request.h"
#include "httpclient_testing/scripted_answer.h"

namespace tavrin::httpclient_testing {

/// Where the asynchronous exchanges of a ScriptedHttpClient take place.
enum class Completion {
    ON_CALLING_THREAD,  ///< before performAsyncRequest() returns
    ON_OWN_THREAD,      ///< one after the other on a thread of the client's
    WHEN_TOLD,          ///< in completeNext()
};

/// Which expectation a request is held against.
enum class ScriptOrder {
    AS_WRITTEN,  ///< the first one that is left, alone
    ANY,         ///< the first one that is left and that it meets
};

/// Told by the destructor of a ScriptedHttpClient about expectations that were never met, and about
/// attempts that were not expected: a test's way to fail nevertheless. A std::exception that it
/// throws is written to std::cerr, any other ends the program.
using UnmetReporter = std::function<void(const std::string& problems)>;

/// Sets the reporter of the clients that are made from now on, in the whole program; an empty one
/// stands for the default, which writes the text to std::cerr. <httpclient_testing/googletest.h>,
/// and matchers.h with it, have set one that fails the running test. May be called from any thread.
HTTPCLIENT_TESTING_EXPORT void setUnmetReporter(UnmetReporter reporter);

/// Client without a network, whose exchanges are written down as a dialogue:
///
///     ScriptedHttpClient client;
///     client.expect({HttpMethod::GET, "http://host/file"},
///                   ScriptedAnswer(200, "OK").withHeader("ETag", "\"1\"").withBody("ab"));
///
/// An expectation that was never met, or an attempt that was not expected, is told by verify(), or
/// else when the client is destroyed, as a mock object does: a GoogleTest test fails then, if its
/// program includes googletest.h.
///
/// Retries and resuming are the library's own; each attempt uses up one expectation. An attempt
/// that was not expected is recorded, and fails with std::logic_error, which shows the request and
/// what was expected instead; like any failure it goes through the retry strategy. Bodies are read
/// and written as a transport would: a request's body stream is left at its end, with eofbit and
/// failbit, and a response is written chunk by chunk.
///
/// All operations may be called from several threads at once. An attempt takes time linear in its
/// request and its answer, with ANY order in the number of exchanges left too; what is counted or
/// told takes time linear in the exchanges left and the attempts so far.
class HTTPCLIENT_TESTING_EXPORT ScriptedHttpClient : public httpclient_core::HttpClient {
public:
    /// A client that expects nothing yet.
    explicit ScriptedHttpClient(Completion completion = Completion::ON_CALLING_THREAD);

    /// Completes what is pending with HttpRequestCancelledException, and ends the client's thread;
    /// a delay that is under way is cut short. An attempt that a retry strategy asks for now is
    /// refused by that exception, and counts for nothing. Handlers that run meanwhile delay the
    /// destructor. At last the UnmetReporter gets problems(), if there are any and neither
    /// problems() nor verify() has told them since the last request or expectation came.
    ~ScriptedHttpClient() override;

    /// Appends an exchange to the script, `times` times over; more may be appended at any time.
    ScriptedHttpClient& expect(ExpectedRequest request, ScriptedAnswer answer,
                               std::size_t times = 1);

    /// AS_WRITTEN by default. Where several threads make requests, their order is ANY.
    void setOrder(ScriptOrder order);

    /// Whether expectations may stay unmet: false by default. If so, they alone are no reason for
    /// the destructor to call the UnmetReporter: for a client that stands in for a server, and need
    /// not be asked everything.
    void setUnmetAllowed(bool allowed);

    /// Called with an answer's delay in place of waiting for it; empty by default: delays are
    /// waited for on the thread of the exchange. What it throws fails the attempt.
    void setDelayHook(std::function<void(std::chrono::milliseconds)> hook);

    /// What the texts below leave out of the requests that came; by default what Credentials knows
    /// by itself and by setCredentialNames(). An ExpectedRequest describes itself with no more than
    /// that.
    void setCredentials(Credentials credentials);

    /// All attempts so far in the order in which they came, those that were not expected too.
    std::vector<RecordedRequest> requests() const;

    /// What went wrong so far, for people to read: each attempt that was not expected, beside what
    /// was expected instead, and each expectation that was not met, beside the last ten attempts
    /// that came. "" if all went as written.
    std::string problems() const;

    /// How many exchanges of the script are left to come, each counted as often as it is expected.
    std::size_t remaining() const;

    /// To be called at a test's end.
    /// @throws std::logic_error with problems(), if there are any.
    void verify() const;

    /// How many asynchronous exchanges wait for their turn.
    std::size_t pending() const;

    /// Waits until at least `count` exchanges are pending; false if `limit` passed before.
    bool waitForPending(std::size_t count, std::chrono::milliseconds limit) const;

    /// Carries out the oldest pending exchange on the calling thread and completes it.
    /// @throws std::logic_error "No exchange is pending."
    void completeNext();

    /// Drops the oldest pending exchange without completing it, as a transport does that loses
    /// requests: its future ends in std::future_error (broken promise), its handler uncalled.
    /// @throws std::logic_error "No exchange is pending."
    void dropNext();

    /// Calls completeNext() until nothing is pending, further attempts included.
    void completeAll();

    /// One attempt, held against the script; an answer's delay is waited for on this thread.
    /// @throws what the answer fails with, and std::logic_error for one that was not expected.
    void performRequest(httpclient_core::HttpRequest& request,
                        httpclient_core::HttpResponse& response) const override;

    /// The attempt is recorded, and held against the script, when it starts.
    /// @throws the exception of ScriptedAnswer::refusal(), and, while the client is being
    /// destroyed, HttpRequestCancelledException.
    void performAsyncRequest(httpclient_core::HttpRequest request,
                             httpclient_core::HttpResponse response, std::uint64_t requestId,
                             httpclient_core::RetryTask completion) const override;

private:
    class HTTPCLIENT_TESTING_HIDDEN Stage;

    std::unique_ptr<Stage> stage_;
};

}  // namespace tavrin::httpclient_testing
