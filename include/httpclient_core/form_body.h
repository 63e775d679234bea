#pragma once

#include <cstddef>
#include <istream>
#include <memory>
#include <string>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"
#include "httpclient_core/media_types.h"

namespace tavrin::httpclient_core {

/// Form fields as a request body of the media type application/x-www-form-urlencoded.
///
/// Hand stream() to HttpRequest::setRequestBody(), and contentType() and contentLength() to the
/// request's headers. Immutable: one object may be used from several threads. Operations take
/// constant time unless they say otherwise.
class HTTPCLIENT_CORE_EXPORT FormUrlEncoded {
public:
    /// Encodes the fields, in order, as name "=" value joined by "&". Only letters, digits and
    /// "-._~" stay as they are; a blank becomes "+", any other byte "%" and two upper-case
    /// hexadecimal digits. No field is refused; an empty value keeps its "=". Linear in the text.
    FormUrlEncoded(const NameValueCollection& fields);

    /// "application/x-www-form-urlencoded", without parameters.
    ContentType contentType() const;

    /// Length of the body in bytes.
    std::size_t contentLength() const;

    /// A new stream over a copy of the body, at its start; the caller owns it. Linear in the
    /// length.
    std::unique_ptr<std::istream> stream() const;

private:
    std::string encodedContent_;
};

}  // namespace tavrin::httpclient_core
