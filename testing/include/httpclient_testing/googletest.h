#pragma once

/// Lets a GoogleTest test fail, and go on, when a ScriptedHttpClient is destroyed whose
/// expectations were not all met: it is enough that one source of the test program includes this
/// file. Header only: the library itself needs no GoogleTest.

#include <gtest/gtest.h>

#include <string>

#include "httpclient_testing/scripted_http_client.h"

namespace tavrin::httpclient_testing::detail {

inline void failTestForUnmet(const std::string& problems) {
    ADD_FAILURE_AT("ScriptedHttpClient", -1) << problems;
}

// Needs a value so that it happens before main, where nobody can forget it.
inline const bool REPORTS_TO_GOOGLETEST = (setUnmetReporter(failTestForUnmet), true);

}  // namespace tavrin::httpclient_testing::detail
