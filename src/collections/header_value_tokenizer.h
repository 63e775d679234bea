#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

namespace tavrin::httpclient_core::detail {

/// Hands each piece of `text` between separators to `take`, as it stands.
template <typename Take>
void forEachPiece(std::string_view text, std::string_view separators, Take take) {
    // Looking for one of several takes a call for every character that is none: a media type would
    // be parsed with twice as many instructions.
    const bool isSingle = separators.size() == 1;
    std::size_t begin = 0;
    for (;;) {
        const auto end =
            isSingle ? text.find(separators.front(), begin) : text.find_first_of(separators, begin);
        if (end == std::string_view::npos) break;
        take(text.substr(begin, end - begin));
        begin = end + 1;
    }
    take(text.substr(begin));
}

/// The two parts of HttpHeaders::splitParameter(), as parts of `text`.
std::pair<std::string_view, std::string_view> cut(std::string_view text,
                                                  std::string_view delimiter);

}  // namespace tavrin::httpclient_core::detail
