#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What programs that call libcurl themselves keep of a small response, and the callbacks that
/// fill it.
struct CurlResponse {
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;

    static std::size_t keepPiece(char* data, std::size_t size, std::size_t count, void* to) {
        static_cast<CurlResponse*>(to)->body.append(data, size * count);
        return size * count;
    }

    static std::size_t keepHeader(char* data, std::size_t size, std::size_t count, void* to) {
        const std::string_view line(data, size * count);
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos) {
            const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
            const std::size_t end = std::max(line.find_last_not_of("\r\n") + 1, value);
            static_cast<CurlResponse*>(to)->headers.emplace_back(line.substr(0, colon),
                                                                 line.substr(value, end - value));
        }
        return size * count;
    }
};
