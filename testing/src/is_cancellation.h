#pragma once

#include <exception>

#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_testing::detail {

// Whether an attempt ended because somebody wanted it to; null is no such error.
inline bool isCancellation(const std::exception_ptr& error) {
    try {
        if (error) std::rethrow_exception(error);
    } catch (const httpclient_core::HttpRequestCancelledException&) {
        return true;
    } catch (...) {
    }
    return false;
}

}  // namespace tavrin::httpclient_testing::detail
