#pragma once

#include <algorithm>
#include <sstream>
#include <streambuf>
#include <string>
#include <typeinfo>

namespace tavrin::httpclient_core::detail {

/// What is left to read in `buffer`, in whole pieces; "" if there is no buffer.
inline std::string readRest(std::streambuf* buffer) {
    std::string text;
    if (!buffer) return text;
    // A text in memory of which nothing is read yet is copied at once, which takes a quarter off
    // 10 KiB received: nothing is filled with zeros first, nor asked for in two pieces. A buffer
    // that was given foreign memory may have more to read than its text.
    if (typeid(*buffer) == typeid(std::stringbuf) &&
        buffer->pubseekoff(0, std::ios::cur, std::ios::in) == std::streampos(0)) {
        text = static_cast<std::stringbuf*>(buffer)->str();
        const auto end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
        if (end == static_cast<std::streamoff>(text.size())) return text;
        buffer->pubseekpos(0, std::ios::in);
        text.clear();
    }
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
