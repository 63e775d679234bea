#pragma once

#include <string>

#include "httpclient_testing/credential_names.h"

namespace tavrin::httpclient_testing {

// What stands in a text for a person in place of a credential.
inline constexpr char BLANKED[] = "***";

// Whether the values of the header fields of that name prove who somebody is.
bool isCredential(const std::string& headerName, const CredentialNames& further = {});

// Whether the parameter of that name does.
bool isSecretParameter(const std::string& name, const CredentialNames& further = {});

// The value of the header field of that name with BLANKED in place of the credentials in it.
std::string fieldValueWithoutCredentials(const std::string& name, const std::string& value,
                                         const CredentialNames& further = {});

// The URL with BLANKED in place of what stands before the "@" of its authority, and of the values
// of secret parameters of its query.
std::string urlWithoutCredentials(const std::string& url, const CredentialNames& further = {});

// "name=value" pairs joined by "&", with BLANKED in place of the values of secret parameters.
std::string parametersWithoutCredentials(const std::string& parameters,
                                         const CredentialNames& further = {});

// JSON, or the beginning of it, with BLANKED in place of the texts that are members by the name of
// secret parameters.
std::string jsonWithoutCredentials(const std::string& json, const CredentialNames& further = {});

// What stands before the "@" of the URL's authority; "" if there is no "@".
std::string userInfo(const std::string& url);

}  // namespace tavrin::httpclient_testing
