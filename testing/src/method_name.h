#pragma once

#include <string>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_testing::detail {

// The method as it stands in a request line.
std::string methodName(httpclient_core::HttpMethod method);

}  // namespace tavrin::httpclient_testing::detail
