#include <sstream>

#include "encoding/percent_encoder.h"
#include "httpclient_core/form_body.h"

namespace tavrin::httpclient_core {

FormUrlEncoded::FormUrlEncoded(NameValueCollection fields) {
    PercentEncoder encoder(PercentEncoder::Blank::PLUS);
    for (auto field = fields.cbegin(); field != fields.cend(); ++field) {
        if (field != fields.cbegin()) encoder.put('&');
        encoder.encode(field->first);
        encoder.put('=');
        encoder.encode(field->second);
    }
    encodedContent_ = encoder.take();
}

ContentType FormUrlEncoded::contentType() const {
    return ContentType("application/x-www-form-urlencoded", {});
}

std::size_t FormUrlEncoded::contentLength() const { return encodedContent_.size(); }

std::unique_ptr<std::istream> FormUrlEncoded::stream() const {
    return std::make_unique<std::istringstream>(encodedContent_);
}

}  // namespace tavrin::httpclient_core
