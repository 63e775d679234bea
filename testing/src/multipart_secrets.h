#pragma once

#include <string_view>

#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials in a multipart body, or the beginning of one, as it stands on the wire: the
// content of parts of such names, and what the header lines and contents of the others hold. Linear
// in the text, but for multipart bodies within one another.
Secrets secretsInMultipart(std::string_view body, std::string_view boundary,
                           const SecretNames& names);

// The boundary that a media type names; "" if it names none.
std::string_view boundaryOf(std::string_view contentType);

}  // namespace tavrin::httpclient_testing::detail
