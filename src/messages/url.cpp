#include "httpclient_core/url.h"

#include <utility>

namespace tavrin::httpclient_core {

URL::URL(std::string text) : text_(std::move(text)) {}

std::string URL::toAsciiString() const { return text_; }

bool URL::operator==(const URL& other) const { return text_ == other.text_; }

std::ostream& operator<<(std::ostream& os, const URL& url) { return os << url.toAsciiString(); }

}  // namespace tavrin::httpclient_core
