#include "wished_range.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {
namespace {

using Position = std::optional<std::int64_t>;

// The whole of `text` as a number; nothing for anything else.
Position position(std::string_view text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < 0) return std::nullopt;
    return number;
}

// "first-last", "first-" or "-count".
struct Wish {
    Position first;
    Position last;
};

std::optional<Wish> singleWish(std::string_view text) {
    constexpr std::string_view UNIT = "bytes=";
    if (!equalIgnoringCase(text.substr(0, UNIT.size()), UNIT)) return std::nullopt;
    text.remove_prefix(UNIT.size());
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    const Wish wish{position(text.substr(0, dash)), position(text.substr(dash + 1))};
    const bool whole = (wish.first || dash == 0) && (wish.last || dash + 1 == text.size());
    if (!whole || (!wish.first && !wish.last)) return std::nullopt;
    return wish;
}

// "bytes first-last/total"; the total may be unknown.
struct Part {
    std::int64_t first;
    std::int64_t last;
    Position total;
};

std::optional<Part> partOf(std::string_view text) {
    constexpr std::string_view UNIT = "bytes ";
    if (!equalIgnoringCase(text.substr(0, UNIT.size()), UNIT)) return std::nullopt;
    text.remove_prefix(UNIT.size());
    const std::size_t dash = text.find('-');
    const std::size_t slash = text.find('/');
    if (dash == std::string_view::npos || slash == std::string_view::npos || slash < dash)
        return std::nullopt;
    const Position first = position(text.substr(0, dash));
    const Position last = position(text.substr(dash + 1, slash - dash - 1));
    if (!first || !last) return std::nullopt;
    return Part{*first, *last, position(text.substr(slash + 1))};
}

bool fits(const Part& part, const Wish& wish) {
    if (!wish.first) {
        return part.total && part.first == std::max<std::int64_t>(*part.total - *wish.last, 0) &&
               part.last == *part.total - 1;
    }
    std::int64_t last = wish.last.value_or(part.last);
    if (part.total) last = wish.last ? std::min(last, *part.total - 1) : *part.total - 1;
    return part.first == *wish.first && part.last == last;
}

}  // namespace

bool isPartWishedFor(const ResponseHead& head, const std::string& wish) {
    const std::optional<Wish> wished = singleWish(wish);
    if (!wished) return true;
    const std::string* const range = head.value("Content-Range");
    const std::optional<Part> part = range == nullptr ? std::nullopt : partOf(*range);
    if (!part || !fits(*part, *wished)) return false;
    const std::int64_t length = head.isChunked() ? -1 : head.contentLength();
    return length < 0 || length == part->last - part->first + 1;
}

}  // namespace tavrin::httpclient_curl::detail
