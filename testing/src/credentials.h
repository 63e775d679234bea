#pragma once

#include <string>

namespace tavrin::httpclient_testing {

// What stands in a text for a person in place of a credential.
inline constexpr char BLANKED[] = "***";

// Whether the values of the header fields of that name prove who somebody is.
bool isCredential(const std::string& headerName);

// The URL with BLANKED in place of what stands before the "@" of its authority.
std::string withoutUserInfo(const std::string& url);

}  // namespace tavrin::httpclient_testing
