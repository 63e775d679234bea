#pragma once

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "httpclient_core/messages.h"
#include "httpclient_core/multipart.h"
#include "httpclient_testing/credentials.h"
#include "httpclient_testing/recorded_request.h"

namespace tavrin::httpclient_testing::detail {

// What an attempt was answered with, as far as it came.
struct RecordedResponse {
    httpclient_core::HttpResponseCode code;
    std::string reason;
    httpclient_core::HttpHeaders headers;
    std::string body;
    // The body stands for itself although the request asked for the rest of an earlier one.
    bool startsOver = false;
    long redirects = 0;
    std::string effectiveUrl;
};

// What an attempt ended with in place of a complete response.
struct RecordedFailure {
    std::string type;
    std::string text;
};

struct RecordedExchange {
    RecordedRequest request;
    std::optional<RecordedResponse> response;
    std::optional<RecordedFailure> failure;
};

struct Recording {
    Credentials credentials;
    std::vector<RecordedExchange> exchanges;
};

// The request with "***" in place of every credential. The length of its body is that of the body
// as it stands there: a credential of another length is no other request.
RecordedRequest withoutCredentials(RecordedRequest request, const Credentials& credentials);

// An attempt as it was, with what earlier ones brought of the response's body.
struct TakenExchange {
    RecordedExchange exchange;
    std::string bodyBefore;
};

// The same of all that attempts consist of. What one of them shows to be a credential is none of
// the others' business either, from 8 bytes on: in requests it is overwritten byte for byte. So is
// what the responses' bodies lose, so that their lengths, and the ranges of a body that came in
// several attempts, are still true.
std::vector<RecordedExchange> withoutCredentials(std::vector<TakenExchange> taken,
                                                 const Credentials& credentials);

// The type is the nearest one that a recording knows.
RecordedFailure recordedFailure(const std::exception_ptr& error);

// An exception of that type and text; null if there is no such type.
std::exception_ptr exceptionOf(const RecordedFailure& failure);

// The recording as a text for people to read and edit: JSON.
std::string jsonOf(const Recording& recording);

// The parts alone, in the same form; "" without a multipart body.
std::string jsonOf(const std::optional<httpclient_core::MultipartBody>& body);

// Throws std::runtime_error that says what is wrong and where, as the end of a sentence that begins
// with the file.
Recording parseRecording(const std::string& json);

}  // namespace tavrin::httpclient_testing::detail
