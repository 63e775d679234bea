#pragma once

#include <string>
#include <vector>

namespace tavrin::httpclient_testing {

/// Where the kit's own notion of what proves who somebody is needs help; see Credentials. Letter
/// case doesn't count. A plain value.
struct CredentialNames {
    std::vector<std::string> headers;     ///< further header fields
    std::vector<std::string> parameters;  ///< further ones of a query or a form, JSON or multipart

    /// Of either kind, what is none although it sounds like one: "code", say, where it is a
    /// country's.
    std::vector<std::string> harmless = {};
};

}  // namespace tavrin::httpclient_testing
