#include <sstream>
#include <utility>

#include "encoding/percent_encoder.h"
#include "httpclient_core/form_body.h"

namespace tavrin::httpclient_core {
namespace {

std::string encoded(const NameValueCollection& fields) {
    PercentEncoder encoder(PercentEncoder::Blank::PLUS);
    char* end = encoder.begin();
    bool isFirst = true;
    for (const auto& [name, value] : fields) {
        if (!std::exchange(isFirst, false)) end = encoder.put(end, '&');
        end = encoder.encode(end, name);
        end = encoder.put(end, '=');
        end = encoder.encode(end, value);
    }
    return encoder.take(end);
}

}  // namespace

FormUrlEncoded::FormUrlEncoded(const NameValueCollection& fields)
    : encodedContent_(encoded(fields)) {}

ContentType FormUrlEncoded::contentType() const {
    return ContentType("application/x-www-form-urlencoded", {});
}

std::size_t FormUrlEncoded::contentLength() const { return encodedContent_.size(); }

std::unique_ptr<std::istream> FormUrlEncoded::stream() const {
    return std::make_unique<std::istringstream>(encodedContent_);
}

}  // namespace tavrin::httpclient_core
