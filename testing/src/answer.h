#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "answer_body.h"
#include "httpclient_testing/fault_plan.h"
#include "request_head.h"
#include "resource.h"

namespace tavrin::httpclient_testing::detail {

// Where the request came in.
struct Place {
    int port = 0;
    bool tls = false;
};

// A whole answer, wrong where its step says so, ready to be sent.
struct Answer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    AnswerBody body;
    bool close = false;  // announced, and done

    void add(std::string name, std::string value);
};

// What this request gets of this resource.
Answer contentAnswer(const RequestHead& request, const FaultStep& step, const Resource& resource,
                     const Place& place);

// A status with what the step says about such answers.
Answer statusAnswer(int status, const RequestHead& request, const FaultStep& step,
                    const Place& place);

// 416 with the size of the resource.
Answer unsatisfiableAnswer(const Resource& resource, const RequestHead& request,
                           const FaultStep& step, const Place& place);

// 200 with this text.
Answer textAnswer(std::string text);

// The header block, up to the empty line, for a request of this method.
std::string headOf(const Answer& answer, const FaultStep& step, const std::string& method);

// Whether this answer has a body at all (RFC 9112, 6.3).
bool mayHaveBody(const Answer& answer, const std::string& method);

}  // namespace tavrin::httpclient_testing::detail
