#include <chrono>
#include <utility>

#include "httpclient_core/configuration.h"

namespace tavrin::httpclient_core {

ClientConfiguration::ClientConfiguration()
    : retryStrategy_(defaultRetryStrategy(5, 0, std::chrono::seconds(120), defaultIsRetriable())) {}

ClientConfiguration& ClientConfiguration::operator=(const ClientConfiguration& other) {
    return *this = ClientConfiguration(other);
}

FilePath ClientConfiguration::certificateFile() const { return certificateFile_; }

void ClientConfiguration::setCertificateFile(FilePath certificateFile) {
    certificateFile_ = std::move(certificateFile);
}

ClientConfiguration& ClientConfiguration::withCertificateFile(FilePath certificateFile) {
    setCertificateFile(std::move(certificateFile));
    return *this;
}

bool ClientConfiguration::followRedirects() const { return followRedirects_; }

void ClientConfiguration::setFollowRedirects(bool followRedirects) {
    followRedirects_ = followRedirects;
}

ClientConfiguration& ClientConfiguration::withFollowRedirects(bool followRedirects) {
    setFollowRedirects(followRedirects);
    return *this;
}

long ClientConfiguration::maxRedirects() const { return maxRedirects_; }

void ClientConfiguration::setMaxRedirects(long maxRedirects) { maxRedirects_ = maxRedirects; }

ClientConfiguration& ClientConfiguration::withMaxRedirects(long maxRedirects) {
    setMaxRedirects(maxRedirects);
    return *this;
}

RetryStrategy ClientConfiguration::retryStrategy() const { return retryStrategy_; }

void ClientConfiguration::setRetryStrategy(RetryStrategy retryStrategy) {
    retryStrategy_ = std::move(retryStrategy);
}

ClientConfiguration& ClientConfiguration::withRetryStrategy(RetryStrategy retryStrategy) {
    setRetryStrategy(std::move(retryStrategy));
    return *this;
}

bool ClientConfiguration::resumeOnRetry() const { return resumeOnRetry_; }

void ClientConfiguration::setResumeOnRetry(bool resumeOnRetry) { resumeOnRetry_ = resumeOnRetry; }

ClientConfiguration& ClientConfiguration::withResumeOnRetry(bool resumeOnRetry) {
    setResumeOnRetry(resumeOnRetry);
    return *this;
}

std::int64_t ClientConfiguration::connectTimeout() const { return connectTimeout_; }

void ClientConfiguration::setConnectTimeout(std::int64_t connectTimeoutMs) {
    connectTimeout_ = connectTimeoutMs;
}

ClientConfiguration& ClientConfiguration::withConnectTimeout(std::int64_t connectTimeoutMs) {
    setConnectTimeout(connectTimeoutMs);
    return *this;
}

std::int64_t ClientConfiguration::responseTimeout() const { return responseTimeout_; }

void ClientConfiguration::setResponseTimeout(std::int64_t responseTimeoutMs) {
    responseTimeout_ = responseTimeoutMs;
}

ClientConfiguration& ClientConfiguration::withResponseTimeout(std::int64_t responseTimeoutMs) {
    setResponseTimeout(responseTimeoutMs);
    return *this;
}

std::int64_t ClientConfiguration::idleTimeout() const { return idleTimeout_; }

void ClientConfiguration::setIdleTimeout(std::int64_t idleTimeoutMs) {
    idleTimeout_ = idleTimeoutMs;
}

ClientConfiguration& ClientConfiguration::withIdleTimeout(std::int64_t idleTimeoutMs) {
    setIdleTimeout(idleTimeoutMs);
    return *this;
}

long ClientConfiguration::idleSpeed() const { return idleSpeed_; }

void ClientConfiguration::setIdleSpeed(long bytesPerSecond) { idleSpeed_ = bytesPerSecond; }

ClientConfiguration& ClientConfiguration::withIdleSpeed(long bytesPerSecond) {
    setIdleSpeed(bytesPerSecond);
    return *this;
}

long ClientConfiguration::maxThreads() const { return maxThreads_; }

void ClientConfiguration::setMaxThreads(long maxThreads) { maxThreads_ = maxThreads; }

ClientConfiguration& ClientConfiguration::withMaxThreads(long maxThreads) {
    setMaxThreads(maxThreads);
    return *this;
}

long ClientConfiguration::maxRequestsPerThread() const { return maxRequestsPerThread_; }

void ClientConfiguration::setMaxRequestsPerThread(long maxRequestsPerThread) {
    maxRequestsPerThread_ = maxRequestsPerThread;
}

ClientConfiguration& ClientConfiguration::withMaxRequestsPerThread(long maxRequestsPerThread) {
    setMaxRequestsPerThread(maxRequestsPerThread);
    return *this;
}

std::string ClientConfiguration::proxy() const { return proxy_; }

void ClientConfiguration::setProxy(std::string proxy) { proxy_ = std::move(proxy); }

ClientConfiguration& ClientConfiguration::withProxy(std::string proxy) {
    setProxy(std::move(proxy));
    return *this;
}

}  // namespace tavrin::httpclient_core
