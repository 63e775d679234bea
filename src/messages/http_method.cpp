#include <map>
#include <ostream>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

std::ostream& operator<<(std::ostream& os, HttpMethod method) {
    switch (method) {
        case HttpMethod::GET:
            return os << "GET";
        case HttpMethod::POST:
            return os << "POST";
        case HttpMethod::DELETE:
            return os << "DELETE";
        case HttpMethod::PUT:
            return os << "PUT";
        case HttpMethod::HEAD:
            return os << "HEAD";
        case HttpMethod::PATCH:
            return os << "PATCH";
    }
    return os << "UNKNOWN";
}

HttpMethod createHttpMethod(const std::string& name) {
    static const std::map<std::string, HttpMethod> METHODS = {
        {"GET", HttpMethod::GET}, {"POST", HttpMethod::POST}, {"DELETE", HttpMethod::DELETE},
        {"PUT", HttpMethod::PUT}, {"HEAD", HttpMethod::HEAD}, {"PATCH", HttpMethod::PATCH},
    };
    return METHODS.at(name);
}

}  // namespace tavrin::httpclient_core
