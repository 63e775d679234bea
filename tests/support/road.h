#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <utility>

#include "httpclient_core/client.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core::test {

/// The two ways to make a request, for tests of what holds for both.
enum class Road { SYNCHRONOUS, ASYNCHRONOUS };

inline std::ostream& operator<<(std::ostream& os, Road road) {
    return os << (road == Road::SYNCHRONOUS ? "Synchronous" : "Asynchronous");
}

/// Makes the request and returns its response or throws its exception.
inline HttpResponse send(const HttpClient& client, HttpRequest request, Road road) {
    if (road == Road::SYNCHRONOUS) return client.makeRequest(std::move(request));
    return client.makeAsyncRequest(std::move(request)).get();
}

}  // namespace tavrin::httpclient_core::test

/// Runs a suite with a Road for its parameter.
#define ON_BOTH_ROADS(suite)                                                                     \
    INSTANTIATE_TEST_SUITE_P(, suite,                                                            \
                             testing::Values(tavrin::httpclient_core::test::Road::SYNCHRONOUS,   \
                                             tavrin::httpclient_core::test::Road::ASYNCHRONOUS), \
                             testing::PrintToStringParamName())
