#include <ostream>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {
namespace {

// Unsigned, so that a code below `first` is far outside instead of inside.
bool isWithinHundredFrom(std::uint32_t first, HttpResponseCode code) {
    return static_cast<std::uint32_t>(code) - first <= 99;
}

}  // namespace

std::string to_string(HttpResponseCode code) { return std::to_string(static_cast<int>(code)); }

std::ostream& operator<<(std::ostream& os, HttpResponseCode code) {
    return os << static_cast<int>(code);
}

bool isInformational(HttpResponseCode code) { return isWithinHundredFrom(100, code); }
bool isSuccess(HttpResponseCode code) { return isWithinHundredFrom(200, code); }
bool isRedirection(HttpResponseCode code) { return isWithinHundredFrom(300, code); }
bool isClientError(HttpResponseCode code) { return isWithinHundredFrom(400, code); }
bool isServerError(HttpResponseCode code) { return isWithinHundredFrom(500, code); }

bool isInformational(const HttpResponse& response) {
    return isInformational(response.getResponseCode());
}
bool isSuccess(const HttpResponse& response) { return isSuccess(response.getResponseCode()); }
bool isRedirection(const HttpResponse& response) {
    return isRedirection(response.getResponseCode());
}
bool isClientError(const HttpResponse& response) {
    return isClientError(response.getResponseCode());
}
bool isServerError(const HttpResponse& response) {
    return isServerError(response.getResponseCode());
}

}  // namespace tavrin::httpclient_core
