#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "httpclient_testing/recorded_request.h"
#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// The credentials of a request as an answer to it, or an error, may quote them: whole, decoded, and
// without the scheme, the cookie's name or the user before them.
class QuotableSecrets {
public:
    QuotableSecrets(const RecordedRequest& request, const SecretNames& names);

    // Where those of at least so many bytes stand in the text, as words of their own: a short one
    // may stand there for something else.
    Secrets in(const std::string& text, std::size_t shortest) const;

private:
    void take(const std::string& text, const Secrets& secrets);
    void keep(const std::string& text);

    std::vector<std::string> texts_;
};

}  // namespace tavrin::httpclient_testing::detail
