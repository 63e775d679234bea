#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "collections/entry_text.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/media_types.h"

namespace tavrin::httpclient_core {

ContentType::ContentType(std::string type, NameValueCollection parameters)
    : type_(std::move(type)), parameters_(std::move(parameters)) {}

ContentType& ContentType::operator=(const ContentType& other) { return *this = ContentType(other); }

ContentType ContentType::parse(const std::string& text) {
    auto [type, parameters] = HttpHeaders::splitParameters(text, ";");
    for (const auto& [name, value] : parameters) {
        if (value.empty()) {
            throw detail::logged(LOG_DECISION,
                                 std::runtime_error("Missing parameter value for <" + name + ">"));
        }
    }
    return ContentType(std::move(type), std::move(parameters));
}

std::string ContentType::getType() const { return type_; }

NameValueCollection ContentType::getParameters() const { return parameters_; }

bool ContentType::operator==(const ContentType& other) const {
    return type_ == other.type_ && parameters_ == other.parameters_;
}

std::string ContentType::toString() const {
    if (parameters_.empty()) return type_;
    // The blank stands after the first semicolon alone, on purpose.
    std::string text = type_ + "; ";
    detail::appendEntries(text, parameters_, ";");
    return text;
}

}  // namespace tavrin::httpclient_core
