#pragma once

#include <ios>
#include <sstream>
#include <string>

#include "httpclient_core/configuration.h"
#include "httpclient_testing/printers.h"

namespace tavrin::httpclient_core::test {

/// All that can be seen of a configuration, as one text. Where memory for it lacks,
/// std::bad_alloc is thrown, rather than a part of the text returned.
inline std::string showConfiguration(const ClientConfiguration& configuration) {
    std::ostringstream text;
    text.exceptions(std::ios::badbit);
    PrintTo(configuration, &text);
    return text.str() + configuration.retryStrategy().target_type().name();
}

}  // namespace tavrin::httpclient_core::test
