#pragma once

#include <algorithm>
#include <streambuf>
#include <string>

namespace tavrin::httpclient_core::detail {

/// What is left to read in `buffer`, in whole pieces; "" if there is no buffer.
inline std::string readRest(std::streambuf* buffer) {
    std::string text;
    if (!buffer) return text;
    while (buffer->sgetc() != std::streambuf::traits_type::eof()) {
        const auto ready = std::max<std::streamsize>(buffer->in_avail(), 1);
        const auto before = text.size();
        text.resize(before + static_cast<std::size_t>(ready));
        const auto taken = buffer->sgetn(&text[before], ready);
        text.resize(before + static_cast<std::size_t>(taken));
    }
    return text;
}

}  // namespace tavrin::httpclient_core::detail
