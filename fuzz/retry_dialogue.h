#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "httpclient_core/httpclient_core.h"

/// What the strategy says when an attempt has ended.
enum class Advice { STOP, RETRY, THROW };

/// What one attempt meets: in this order an answer, if there is one, a cancellation by the progress
/// callback or the end of the body, and a fault, if there is one.
struct Step {
    bool answers = false;
    bool refused = false;  ///< Doesn't even start; its fault says why.
    int code = -1;
    std::string acceptRanges;  ///< Without the field if it is empty.
    std::vector<std::string> chunks;
    bool cancels = false;
    std::exception_ptr fault;
    Advice advice = Advice::STOP;
};

enum class BodyKind { NONE, TEXT, MULTIPART, STREAM, STREAM_THAT_CANNOT_GO_BACK };
enum class FramingKind { GOOD, MISSING, DOUBLE };

/// A request, and what becomes of it.
struct Dialogue {
    tavrin::httpclient_core::HttpMethod method;
    BodyKind body = BodyKind::NONE;
    FramingKind framing = FramingKind::GOOD;
    bool resume = false;
    bool reportsProgress = false;
    bool asksForRange = false;
    std::exception_ptr strategyFault;
    std::vector<Step> steps;  ///< All but the last one are followed by a further attempt.

    static constexpr const char* RANGE = "bytes=7-";
    static constexpr const char* BODY = "the body";

    bool isRefused() const;  ///< Whether the frame doesn't take the request at all.
    tavrin::httpclient_core::HttpRequest request() const;
};

Dialogue readDialogue(FuzzedDataProvider& input);
