#pragma once

#include <cstdint>
#include <functional>

namespace tavrin::httpclient_core {

/// How far a transfer has come, in bytes. A transport may give 0 for a total that it doesn't know.
/// A plain value.
struct Progress {
    std::int64_t downloadTotal = 0;  ///< expected size of the response body
    std::int64_t downloadNow = 0;    ///< bytes of the response body received so far
    std::int64_t uploadTotal = 0;    ///< size of the request body
    std::int64_t uploadNow = 0;      ///< bytes of the request body sent so far
};

/// What a progress callback answers: whether the transfer goes on.
enum class ProgressResult { CONTINUE, CANCEL };

/// Called by the transport while a transfer runs, on the thread that carries the transfer.
using ProgressCallback = std::function<ProgressResult(const Progress&)>;

}  // namespace tavrin::httpclient_core
