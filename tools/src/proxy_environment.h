#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tavrin::http_tool {

/// Value of an environment variable, or nothing; std::getenv in the program, a table in tests.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

/// The environment of this process.
Environment processEnvironment();

/// The proxy that the environment names for `url`, or "" for none: http_proxy for http,
/// https_proxy or HTTPS_PROXY for https, else all_proxy or ALL_PROXY. The upper-case HTTP_PROXY is
/// not read: a CGI program's client can set it by a header field. no_proxy (or NO_PROXY) exempts
/// hosts.
std::string proxyFor(const std::string& url, const Environment& environment);

/// Whether `list`, separated by commas or blanks, exempts `host`: by "*", by its own name, by a
/// domain that it lies in (with or without a dot in front), or by an address block such as
/// 10.0.0.0/8 if the host is an IP address. Letter case, a dot at the end and brackets around an
/// address don't matter.
bool isExempt(const std::string& host, const std::string& list);

}  // namespace tavrin::http_tool
