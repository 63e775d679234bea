#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavrin::httpclient_testing::detail {

// First and last byte, both within the representation.
struct ByteRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    std::uint64_t size() const { return last - first + 1; }
};

// The satisfiable ranges that a Range header asks of `size` bytes, in its order; none are left if
// it can't be satisfied. Nothing if the header is malformed or of another unit, and so to be
// ignored (RFC 9110, 14.2).
std::optional<std::vector<ByteRange>> parseRanges(const std::string& header, std::uint64_t size);

}  // namespace tavrin::httpclient_testing::detail
