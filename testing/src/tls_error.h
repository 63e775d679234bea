#pragma once

#include <string>

namespace tavrin::httpclient_testing::detail {

// Why the last call into the cryptographic library failed in this thread.
std::string tlsError();

}  // namespace tavrin::httpclient_testing::detail
