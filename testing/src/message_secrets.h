#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "httpclient_core/headers.h"
#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials in each kind of text that a message consists of. All are linear in the text.

Secrets secretsInUrl(std::string_view url, const SecretNames& names);

Secrets secretsInHeaderValue(std::string_view name, std::string_view value,
                             const SecretNames& names);

// A body of that media type, or the beginning of one; "" is a type that nobody told. `depth` is how
// many multipart bodies it stands in: each of them is read once more for every one around it, so
// that what is nested deeper than anybody means it is a credential as a whole.
Secrets secretsInBody(std::string_view body, std::string_view contentType, const SecretNames& names,
                      std::size_t depth = 0);

// The Content-Type of a message; "" if it has none.
std::string contentType(const httpclient_core::HttpHeaders& headers);

// What an exception says, or whoever else: whole sentences with messages' texts in them.
Secrets secretsInSentence(std::string_view text, const SecretNames& names);

}  // namespace tavrin::httpclient_testing::detail
