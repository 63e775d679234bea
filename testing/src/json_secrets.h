#pragma once

#include <string_view>

#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials of JSON, or of the beginning of it: the texts and numbers that are, or stand in,
// the members of such names, and what other texts hold. Linear in the text.
Secrets secretsInJson(std::string_view json, const SecretNames& names);

}  // namespace tavrin::httpclient_testing::detail
