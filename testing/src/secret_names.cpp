#include "secret_names.h"

#include <algorithm>

#include "ascii.h"
#include "decoded_text.h"
#include "header_line.h"

namespace tavrin::httpclient_testing::detail {
namespace {

// The words of the name in one, in lower case and without the digits at the end: the ways to write
// a name of several words are many.
std::string squeezed(std::string_view name) {
    std::string text;
    for (const char character : name) {
        if (isLetter(character)) text += static_cast<char>(character | 0x20);
        if (isDigit(character)) text += character;
    }
    while (!text.empty() && isDigit(text.back())) text.pop_back();
    return text;
}

bool endsWithOneOf(const std::vector<std::string_view>& ends, const std::string& text) {
    return std::any_of(ends.begin(), ends.end(), [&](std::string_view end) {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    });
}

bool isUnmistakableWord(const std::string& name) {
    static const std::vector<std::string_view> ENDS{"accesskey",
                                                    "accesskeys",
                                                    "accesstokens",
                                                    "accountkey",
                                                    "apikey",
                                                    "apikeys",
                                                    "apitokens",
                                                    "assertion",
                                                    "authtokens",
                                                    "clientsecrets",
                                                    "idtokenhint",
                                                    "idtokens",
                                                    "oauthverifier",
                                                    "passphrases",
                                                    "privatekeys",
                                                    "refreshtokens",
                                                    "secretkeys",
                                                    "sessiontokens",
                                                    "signatures",
                                                    "usercode",
                                                    "authcode",
                                                    "authkey",
                                                    "authorization",
                                                    "authorizationcode",
                                                    "codeverifier",
                                                    "cookie",
                                                    "credential",
                                                    "csrf",
                                                    "devicecode",
                                                    "encryptionkey",
                                                    "functionskey",
                                                    "jwt",
                                                    "masterkey",
                                                    "passcode",
                                                    "passphrase",
                                                    "passwd",
                                                    "password",
                                                    "passwordagain",
                                                    "passwordconfirm",
                                                    "passwordconfirmation",
                                                    "passwordhash",
                                                    "passwordrepeat",
                                                    "privatekey",
                                                    "pwd",
                                                    "samlresponse",
                                                    "secret",
                                                    "secretkey",
                                                    "sessid",
                                                    "sessionid",
                                                    "sessionkey",
                                                    "sharedkey",
                                                    "signature",
                                                    "signingkey",
                                                    "subscriptionkey",
                                                    "token",
                                                    "xsrf",
                                                    "adminkey",
                                                    "appkey",
                                                    "applicationkey",
                                                    "verificationcode",
                                                    "cvv",
                                                    "hmac",
                                                    "licensekey",
                                                    "mfacode",
                                                    "otp",
                                                    "webhookkey"};
    return endsWithOneOf(ENDS, name);
}

bool isShortWord(const std::string& name) {
    static const std::vector<std::string_view> WORDS{"auth",
                                                     "authentication",
                                                     "authenticationinfo",
                                                     "bearer",
                                                     "code",
                                                     "cookies",
                                                     "credentials",
                                                     "dpop",
                                                     "key",
                                                     "pass",
                                                     "passwords",
                                                     "pin",
                                                     "proxyauthenticationinfo",
                                                     "puk",
                                                     "pw",
                                                     "secrets",
                                                     "session",
                                                     "sid",
                                                     "sig",
                                                     "ticket",
                                                     "tokens"};
    return std::find(WORDS.begin(), WORDS.end(), name) != WORDS.end();
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& candidate) { return sameName(candidate, name); });
}

}  // namespace

bool SecretNames::isHeader(std::string_view name) const {
    if (contains(further_.harmless, name)) return false;
    const std::string word = squeezed(name);
    return contains(further_.headers, name) || isUnmistakableWord(word) || isShortWord(word) ||
           (sameName(name.substr(0, 2), "X-") && isShortWord(word.substr(1)));
}

bool SecretNames::isParameter(std::string_view name) const {
    const std::string decoded = percentDecoded(name).text;
    if (contains(further_.harmless, decoded)) return false;
    const std::string word = squeezed(decoded);
    return contains(further_.parameters, decoded) || isUnmistakableWord(word) || isShortWord(word);
}

bool SecretNames::isElement(std::string_view name) const {
    static const std::vector<std::string_view> EVERYDAY{"code", "key"};
    return isUnmistakable(name) || (isParameter(name) && !endsWithOneOf(EVERYDAY, squeezed(name)));
}

bool SecretNames::isUnmistakable(std::string_view name) const {
    if (contains(further_.harmless, name)) return false;
    return contains(further_.headers, name) || contains(further_.parameters, name) ||
           isUnmistakableWord(squeezed(name));
}

}  // namespace tavrin::httpclient_testing::detail
