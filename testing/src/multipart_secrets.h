#pragma once

#include <cstddef>
#include <string_view>

#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials in a multipart body, or the beginning of one, as it stands on the wire: the
// content of parts of such names, and what the header lines and contents of the others hold, and
// the text before the first. `depth` is how many others it stands in. Linear in the text for each.
Secrets secretsInMultipart(std::string_view body, std::string_view boundary,
                           const SecretNames& names, std::size_t depth);

// Whether a part with that boundary begins in the text; no boundary is "".
bool hasParts(std::string_view body, std::string_view boundary);

// The boundary that a media type names; "" if it names none.
std::string_view boundaryOf(std::string_view contentType);

}  // namespace tavrin::httpclient_testing::detail
