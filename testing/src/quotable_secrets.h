#pragma once

#include <cstddef>
#include <set>
#include <string>

#include "httpclient_core/headers.h"
#include "httpclient_core/multipart.h"
#include "httpclient_testing/recorded_request.h"
#include "recording.h"
#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// From so many bytes on a credential is known wherever it stands. A shorter one may stand there for
// something else, and letters beside it say so.
inline constexpr std::size_t LONG_SECRET = 8;

// The credentials of messages as others, or an error, may quote them: whole, decoded, as JSON
// writes them, and without the scheme, the cookie's name or the user before them.
class QuotableSecrets {
public:
    void take(const RecordedRequest& request, const SecretNames& names);

    // `bodyBefore` is what earlier attempts brought of the body.
    void take(const RecordedResponse& response, const std::string& bodyBefore,
              const SecretNames& names);

    // Where those of at least so many bytes stand in the text, short ones as words of their own.
    Secrets in(const std::string& text, std::size_t shortest) const;

private:
    void take(const httpclient_core::HttpHeaders& headers, const SecretNames& names);
    void take(const httpclient_core::DataPart& part, const SecretNames& names);
    void take(const std::string& text, const Secrets& secrets);
    void keep(const std::string& text);
    void keepAsJsonToo(const std::string& text);
    void keepEncodedUser(const std::string& user);
    void keepDecodedUser(const std::string& credentials);

    std::set<std::string> texts_;
};

}  // namespace tavrin::httpclient_testing::detail
