#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "retry_dialogue.h"

/// Where a request is carried out, and whether it is lost on the way.
struct Road {
    bool asynchronous = false;
    bool isTold = false;  ///< When to complete each attempt.
    /// The attempt, from 0, that the transport drops, or in which the client is destroyed.
    std::optional<std::size_t> droppedAt;
    std::optional<std::size_t> destroyedAt;
};

/// How an attempt ended: with the very exception that it was told to throw, or with a cancellation.
struct ExpectedError {
    std::exception_ptr same;
    bool cancelled = false;

    bool isMetBy(const std::exception_ptr& error) const;
};

struct ExpectedAttempt {
    std::optional<std::string> range;
    std::optional<std::string> body;
    /// What the strategy is told, if it is asked.
    ExpectedError error;
    int code = -1;
    int consecutive = 0;
};

/// What must come of a dialogue, told as plainly as can be.
struct Expected {
    /// DELIVERED: by a response or the last error. THROWN: out of the call. LOST: to nobody.
    enum End { DELIVERED, THROWN, LOST };

    std::vector<ExpectedAttempt> attempts;
    std::size_t asked = 0;  ///< How often the strategy is.
    std::vector<std::pair<std::int64_t, std::int64_t>> progress;
    End end = DELIVERED;
    ExpectedError error;
    int code = -1;
    std::string body;
};

Expected expectedOf(const Dialogue& dialogue, const Road& road);
