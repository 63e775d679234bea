#pragma once

#include <string>

#include "response_head.h"

namespace tavrin::httpclient_curl::detail {

// Whether a 206 brings the part that `wish`, the application's own Range, asks for, as far as the
// resource goes (RFC 9110, 14.1.2 and 14.4). A wish for several parts, or in another unit, is the
// application's own business.
bool isPartWishedFor(const ResponseHead& head, const std::string& wish);

}  // namespace tavrin::httpclient_curl::detail
