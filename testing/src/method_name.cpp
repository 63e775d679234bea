#include "method_name.h"

#include <sstream>

namespace tavrin::httpclient_testing::detail {

std::string methodName(httpclient_core::HttpMethod method) {
    std::ostringstream name;
    name << method;
    return name.str();
}

}  // namespace tavrin::httpclient_testing::detail
