#include "settings.h"

#include <algorithm>
#include <climits>

namespace tavrin::httpclient_curl::detail {
namespace {

// A greater number would let a redirect loop run for hours.
constexpr long MOST_REDIRECTS = 1000;

// libcurl keeps times as an int of milliseconds; 24 days are as good as any greater limit.
std::int64_t timeLimit(std::int64_t milliseconds) {
    return std::clamp<std::int64_t>(milliseconds, 0, INT_MAX);
}

std::size_t countLimit(long count) { return count > 0 ? static_cast<std::size_t>(count) : 0; }

}  // namespace

Settings::Settings(const httpclient_core::ClientConfiguration& configuration)
    : certificateFile(configuration.certificateFile().toUtf8()),
      proxy(configuration.proxy()),
      followRedirects(configuration.followRedirects()),
      resumeOnRetry(configuration.resumeOnRetry()),
      maxRedirects(std::clamp(configuration.maxRedirects(), 0L, MOST_REDIRECTS)),
      connectTimeout(timeLimit(configuration.connectTimeout())),
      responseTimeout(timeLimit(configuration.responseTimeout())),
      idleTimeout(timeLimit(configuration.idleTimeout())),
      idleSpeed(std::max(configuration.idleSpeed(), 0L)),
      maxThreads(countLimit(configuration.maxThreads())),
      maxRequestsPerThread(countLimit(configuration.maxRequestsPerThread())) {}

}  // namespace tavrin::httpclient_curl::detail
