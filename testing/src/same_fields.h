#pragma once

#include "httpclient_core/headers.h"

namespace tavrin::httpclient_testing::detail {

// Whether both have the same fields in the same order, letter for letter.
bool sameFields(const httpclient_core::HttpHeaders& one, const httpclient_core::HttpHeaders& other);

}  // namespace tavrin::httpclient_testing::detail
