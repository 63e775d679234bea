#pragma once

#include <string>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/multipart.h"
#include "httpclient_testing/credential_names.h"
#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// Knows what proves who somebody is, and writes texts without it: "***" in its place. The texts
/// that the kit shows and the files that it writes went through here. What a test is handed did
/// not: ScriptedHttpClient::requests() and FaultServer::requests() give requests as they came.
///
/// A name is that of a credential if it is, or ends with, one of the known words, whatever its
/// letter case and whatever stands between the words: `token`, `password`, `secret`, `signature`,
/// `assertion`, `credential`, `cookie`, `authorization`, `api_key`, `access_key`, `session_id` and
/// their like, so that `X-Auth-Token`, `refreshToken` and `user[password]` are, and `token_type` is
/// not. Short words count alone, with or without "X-" before them: `auth`, `code`, `key`, `pass`,
/// `pin`, `pwd`, `session`, `sid`, `sig` and others. Digits at the end don't count. CredentialNames
/// adds names and takes some out, for one object or, by setCredentialNames(), for the program.
///
/// A name that stands beside its value as a value of its own is not seen, as in
/// {"name": "password", "value": "x"} and <input name="token" value="x">, unless another place of a
/// recording has that value too.
///
/// Empty values are left, as are true, false and null: they tell that there is nothing to hide.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the texts.
class HTTPCLIENT_TESTING_EXPORT Credentials {
public:
    /// Knows the names of the program too.
    explicit Credentials(CredentialNames further = {});

    /// Whether a header field, or a parameter, of that name holds a credential.
    bool isHeader(const std::string& name) const;
    bool isParameter(const std::string& name) const;

    /// The URL without what stands before the "@" of its authority, with a scheme, with "//" or as
    /// "user:password@host"; and without the values of such parameters in its query, its fragment
    /// and a URL that another parameter holds. Names may be percent-encoded.
    std::string blankedUrl(const std::string& url) const;

    /// The value of a header field: nothing but "***" if the field holds credentials, without the
    /// challenge's numbers (`nonce`, `opaque`) in WWW-Authenticate and Proxy-Authenticate, as a URL
    /// in Location, Content-Location and Referer, and as blankedText() else.
    std::string blankedHeaderValue(const std::string& name, const std::string& value) const;

    /// The value of a parameter, a form's field or a cookie: nothing but "***" if the name says so.
    std::string blankedParameter(const std::string& name, const std::string& value) const;

    /// A body, or the beginning of one. A form is treated as a query is; in JSON the texts and
    /// numbers of such a member go, those inside its arrays and objects too; in a multipart body
    /// the content of such a part, while other parts are bodies of their own. Images, archives and
    /// the like stay as they are, as does what holds a NUL byte, and what is compressed: nothing is
    /// unpacked. A part within more than eight multipart bodies is blanked as a whole. All else is
    /// JSON if it begins so, and text if not.
    std::string blankedBody(const std::string& body, const std::string& contentType = "") const;

    /// Any text, such as an exception's: without the user information of URLs, the values of
    /// `name=value` and `"name": "value"`, all that follows `name: ` on its line, the content of
    /// `<name>`, and what follows the names of the schemes Basic, Bearer, Negotiate and NTLM. Short
    /// names need a "=", quotes or to be an element's: an "error code: 7" is left, as are <code>,
    /// <key> and YAML's "pass: x".
    std::string blankedText(const std::string& text) const;

    /// Each value by its name.
    httpclient_core::HttpHeaders blanked(const httpclient_core::HttpHeaders& headers) const;
    httpclient_core::NameValueCollection blanked(
        const httpclient_core::NameValueCollection& parameters) const;

    /// The data of a part, by its name, or else as a body of its content type.
    std::string blankedData(const httpclient_core::DataPart& part) const;

    /// Each part's header fields and data. Files are not looked into.
    httpclient_core::MultipartBody blanked(const httpclient_core::MultipartBody& body) const;

    /// What was given to the constructor, and behind it the names of the program as they were then.
    const CredentialNames& further() const { return further_; }

private:
    CredentialNames further_;
};

/// Sets the names that every Credentials made from now on knows beside its own, in the whole
/// program: those in the texts of matchers, printers and ExpectedRequest, in ScriptedHttpClient and
/// ReplayingHttpClient, and in what a RecordingHttpClient writes. Best done before anything else;
/// what was set before is replaced. May be called from any thread.
HTTPCLIENT_TESTING_EXPORT void setCredentialNames(CredentialNames names);

}  // namespace tavrin::httpclient_testing
