#pragma once

#include <string>
#include <vector>

namespace tavrin::httpclient_testing {

/// Names of what proves who somebody is, beside those that the kit knows by itself; see wireText().
/// Letter case doesn't count. A plain value.
struct CredentialNames {
    std::vector<std::string> headers;     ///< header fields
    std::vector<std::string> parameters;  ///< of a query or a form, JSON or multipart body
};

}  // namespace tavrin::httpclient_testing
