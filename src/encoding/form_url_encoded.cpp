#include <sstream>

#include "encoding/percent_encoder.h"
#include "httpclient_core/form_body.h"

namespace tavrin::httpclient_core {

FormUrlEncoded::FormUrlEncoded(NameValueCollection fields)
    : encodedContent_(fields.toString("&", "=", PercentEncoder("+"))) {}

ContentType FormUrlEncoded::contentType() const {
    return ContentType("application/x-www-form-urlencoded", {});
}

std::size_t FormUrlEncoded::contentLength() const { return encodedContent_.size(); }

std::unique_ptr<std::istream> FormUrlEncoded::stream() const {
    return std::make_unique<std::istringstream>(encodedContent_);
}

}  // namespace tavrin::httpclient_core
