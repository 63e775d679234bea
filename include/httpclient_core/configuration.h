#pragma once

#include <cstdint>
#include <string>

#include "httpclient_core/export.h"
#include "httpclient_core/file_path.h"
#include "httpclient_core/retry.h"

namespace tavrin::httpclient_core {

/// How a client makes requests. A client has one as its default; a request may carry its own.
///
/// Nothing is checked: any number is stored, a negative one too, and so is an empty retry strategy.
/// What a setting does is up to the transport, except for the retry strategy and resuming.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take constant time, or time linear in what they copy.
class HTTPCLIENT_CORE_EXPORT ClientConfiguration {
public:
    /// The defaults that are named below.
    ClientConfiguration();

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    ClientConfiguration(const ClientConfiguration&) = default;
    ClientConfiguration(ClientConfiguration&&) noexcept = default;
    ClientConfiguration& operator=(const ClientConfiguration& other);
    ClientConfiguration& operator=(ClientConfiguration&&) noexcept = default;
    ~ClientConfiguration() = default;

    /// File of the certificates that are trusted; empty, the default: those of the system.
    FilePath certificateFile() const;
    void setCertificateFile(FilePath certificateFile);
    ClientConfiguration& withCertificateFile(FilePath certificateFile);

    /// Whether redirects are followed; true by default.
    bool followRedirects() const;
    void setFollowRedirects(bool followRedirects);
    ClientConfiguration& withFollowRedirects(bool followRedirects);

    /// Most redirects followed for one request; 5 by default.
    long maxRedirects() const;
    void setMaxRedirects(long maxRedirects);
    ClientConfiguration& withMaxRedirects(long maxRedirects);

    /// Decides after every attempt whether to make another; by default
    /// defaultRetryStrategy(5, 0, 120 seconds, defaultIsRetriable()), which never waits. A request
    /// with an empty strategy fails with std::bad_function_call after its first attempt.
    RetryStrategy retryStrategy() const;
    void setRetryStrategy(RetryStrategy retryStrategy);
    ClientConfiguration& withRetryStrategy(RetryStrategy retryStrategy);

    /// Whether a further attempt asks only for the bytes that are still missing; false by default.
    bool resumeOnRetry() const;
    void setResumeOnRetry(bool resumeOnRetry);
    ClientConfiguration& withResumeOnRetry(bool resumeOnRetry);

    /// Most time to establish a connection, TLS included, in milliseconds; 5000 by default, 0 for
    /// no limit.
    std::int64_t connectTimeout() const;
    void setConnectTimeout(std::int64_t connectTimeoutMs);
    ClientConfiguration& withConnectTimeout(std::int64_t connectTimeoutMs);

    /// Most time from the last byte of the request to the first of the response, in milliseconds;
    /// 30000 by default, 0 for no limit.
    std::int64_t responseTimeout() const;
    void setResponseTimeout(std::int64_t responseTimeoutMs);
    ClientConfiguration& withResponseTimeout(std::int64_t responseTimeoutMs);

    /// Most time for which a transfer may stay below idleSpeed(), in milliseconds; 30000 by
    /// default, 0 for no limit.
    std::int64_t idleTimeout() const;
    void setIdleTimeout(std::int64_t idleTimeoutMs);
    ClientConfiguration& withIdleTimeout(std::int64_t idleTimeoutMs);

    /// Speed below which a transfer counts as idle, in bytes per second; 1 by default, 0 for no
    /// limit.
    long idleSpeed() const;
    void setIdleSpeed(long bytesPerSecond);
    ClientConfiguration& withIdleSpeed(long bytesPerSecond);

    /// Most threads that carry asynchronous requests; 4 by default.
    long maxThreads() const;
    void setMaxThreads(long maxThreads);
    ClientConfiguration& withMaxThreads(long maxThreads);

    /// Most requests that one such thread carries at a time; 2 by default.
    long maxRequestsPerThread() const;
    void setMaxRequestsPerThread(long maxRequestsPerThread);
    ClientConfiguration& withMaxRequestsPerThread(long maxRequestsPerThread);

    /// URL of the proxy; empty, the default: none.
    std::string proxy() const;
    void setProxy(std::string proxy);
    ClientConfiguration& withProxy(std::string proxy);

private:
    FilePath certificateFile_;
    bool followRedirects_ = true;
    std::int64_t maxRedirects_ = 5;
    RetryStrategy retryStrategy_;
    bool resumeOnRetry_ = false;
    std::int64_t connectTimeout_ = 5000;
    std::int64_t responseTimeout_ = 30000;
    std::int64_t idleTimeout_ = 30000;
    std::int64_t idleSpeed_ = 1;
    std::int64_t maxThreads_ = 4;
    std::int64_t maxRequestsPerThread_ = 2;
    std::string proxy_;
};

}  // namespace tavrin::httpclient_core
