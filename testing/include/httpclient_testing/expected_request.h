#pragma once

#include <functional>
#include <string>
#include <vector>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/multipart.h"
#include "httpclient_testing/export.h"
#include "httpclient_testing/recorded_request.h"

namespace tavrin::httpclient_testing {

/// What a ScriptedHttpClient waits for: a request that meets every condition given here.
///
/// Each with…() adds a condition; none takes one back. What no condition speaks of may be anything:
/// ExpectedRequest(HttpMethod::GET, url) is met by any GET of that URL, whatever its headers.
///
/// A plain value. One object may be read from several threads while none changes it; its conditions
/// are then called from all of them. Operations take time linear in what they copy, compare or
/// write.
class HTTPCLIENT_TESTING_EXPORT ExpectedRequest {
public:
    /// Any request at all.
    ExpectedRequest() = default;

    /// That method and exactly that URL, query parameters included.
    ExpectedRequest(httpclient_core::HttpMethod method, std::string url);

    /// Exactly that method; exactly that URL, query parameters included.
    ExpectedRequest& withMethod(httpclient_core::HttpMethod method);
    ExpectedRequest& withUrl(std::string url);

    /// Among the fields of that name, one has exactly that value.
    ExpectedRequest& withHeader(std::string name, std::string value);

    /// No field of that name.
    ExpectedRequest& withoutHeader(std::string name);

    /// Exactly these fields in this order, and no others; names in this spelling.
    ExpectedRequest& withHeaders(httpclient_core::HttpHeaders headers);

    /// A simple body of exactly these bytes; "" is an empty body, not a missing one.
    ExpectedRequest& withBody(std::string body);

    /// No body, neither a simple one nor parts.
    ExpectedRequest& withoutBody();

    /// A multipart body of exactly these parts in this order; a file counts by its path.
    ExpectedRequest& withParts(httpclient_core::MultipartBody body);

    /// Whatever else a test can ask; `description` says it in the text of a failure. The client
    /// asks under its lock: `condition` must not call the client.
    ExpectedRequest& withCondition(std::string description,
                                   std::function<bool(const RecordedRequest&)> condition);

    /// Whether the request meets every condition.
    bool isMetBy(const RecordedRequest& request) const;

    /// A line for each condition, credentials blanked; "  any request\n" without a condition.
    std::string describe() const;

    /// The same, with "!" at the start of each condition that the request does not meet, and with
    /// ", which differs in what is blanked" behind it where nothing else does.
    std::string describeAgainst(const RecordedRequest& request) const;

private:
    struct Condition {
        std::string description;
        std::function<bool(const RecordedRequest&)> isMet;
        std::function<bool(const RecordedRequest&)> looksMet;  // without credentials; may be empty
    };

    HTTPCLIENT_TESTING_HIDDEN ExpectedRequest& withBlanked(
        std::string description, std::function<bool(const RecordedRequest&)> isMet,
        std::function<bool(const RecordedRequest&)> looksMet);

    std::vector<Condition> conditions_;
};

}  // namespace tavrin::httpclient_testing
