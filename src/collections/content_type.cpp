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

ContentType ContentType::parse(const std::string& text) { return parsed(text); }

std::string ContentType::getType() const { return type_; }

NameValueCollection ContentType::getParameters() const { return parameters_; }

bool ContentType::operator==(const ContentType& other) const {
    return type_ == other.type_ && parameters_ == other.parameters_;
}

std::string ContentType::toString() const {
    std::string text;
    appendTo(text);
    return text;
}

ContentType ContentType::parsed(std::string_view text) {
    ContentType result;
    HttpHeaders::splitInto(result.type_, result.parameters_, text, ";");
    for (const auto& [name, value] : result.parameters_) {
        if (value.empty()) {
            throw detail::logged(LOG_DECISION,
                                 std::runtime_error("Missing parameter value for <" + name + ">"));
        }
    }
    return result;
}

void ContentType::appendTo(std::string& text) const {
    // The blank stands after the first semicolon alone, on purpose.
    detail::appendEntries(text, type_, "; ", parameters_, ";");
}

}  // namespace tavrin::httpclient_core
