#pragma once

#include <string>
#include <string_view>

#include "httpclient_testing/credential_names.h"

namespace tavrin::httpclient_testing::detail {

// Which names are those of credentials: the ones that the kit knows, and further ones, which must
// outlive the object.
class SecretNames {
public:
    explicit SecretNames(const CredentialNames& further) : further_(further) {}

    bool isHeader(std::string_view name) const;

    // Percent escapes in the name are decoded.
    bool isParameter(std::string_view name) const;

    // An element of XML or HTML: these have a meaning of their own for "code" and "key".
    bool isElement(std::string_view name) const;

    // Either, without the names that are everyday words as well.
    bool isUnmistakable(std::string_view name) const;

    const CredentialNames& further() const { return further_; }

private:
    const CredentialNames& further_;
};

}  // namespace tavrin::httpclient_testing::detail
