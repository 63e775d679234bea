#pragma once

#include <string_view>

#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials of a text that may hold anything: user information of URLs, values behind names,
// what follows the name of an authentication scheme. Linear in the text.
Secrets secretsInText(std::string_view text, const SecretNames& names);

// What stands before the "@" of a text that begins as "user:password@host" does, without a scheme.
Secrets secretsInBareAuthority(std::string_view text);

}  // namespace tavrin::httpclient_testing::detail
