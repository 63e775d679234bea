#pragma once

#include <optional>
#include <string>

namespace tavrin::http_tool {

/// The pieces of a URL that the tool itself decides by; everything else is the transport's
/// business.
struct UrlParts {
    std::string scheme;  ///< lower case, without ":"
    std::string host;    ///< lower case, without port, user and the brackets of an IPv6 address
    std::string path;    ///< as written, without query and fragment; "" if there is none
};

/// Splits "scheme://[user@]host[:port][/path][?query][#fragment]"; nothing for any other text.
std::optional<UrlParts> splitUrl(const std::string& url);

/// `url` as it is if it names a scheme, else with "http://" in front of it. An IPv6 address alone
/// gets its brackets: the parser of the command line takes them off, as those of a list.
std::string withScheme(const std::string& url);

/// `url` with what stands before an "@" in its authority replaced by "***", for texts that people
/// and log files see.
std::string withoutCredentials(const std::string& url);

}  // namespace tavrin::http_tool
