#pragma once

#include <httpclient_core/configuration.h>
#include <httpclient_core/messages.h>

#include "command_line.h"
#include "proxy_environment.h"

namespace tavrin::http_tool {

/// The request that the command line describes, for one of its URLs.
httpclient_core::HttpRequest requestFor(const CommandLine& line, const std::string& url);

/// The settings for it, but for the retry strategy: those of the command line, and a proxy that it
/// or the environment names.
httpclient_core::ClientConfiguration configurationFor(const CommandLine& line,
                                                      const std::string& url,
                                                      const Environment& environment);

}  // namespace tavrin::http_tool
