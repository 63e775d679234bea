#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core::detail {

// What defaultResponseStreamFactory() gives. It has a name so that a response knows that nobody
// will look at copies of its reason and headers: a quarter of what a small body costs.
struct MemoryBody {
    std::unique_ptr<std::iostream> operator()(HttpResponseCode, const std::string&,
                                              const HttpHeaders&) const {
        return std::make_unique<std::stringstream>();
    }
};

}  // namespace tavrin::httpclient_core::detail
