#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace tavrin::httpclient_core {

/// Puts texts into one, percent-encoded (RFC 3986, 2.1) or as they are. Encoded, letters, digits
/// and
/// "-._~" stay, a blank becomes the replacement, every other byte "%" and two upper-case
/// hexadecimal digits.
class PercentEncoder {
public:
    enum class Blank { PERCENT_20, PLUS };

    explicit PercentEncoder(Blank replacement);

    void encode(std::string_view text);
    void put(char separator);

    /// All of it; called once, at the end.
    std::string take();

private:
    // What stands in place of one byte. Whole entries are copied, whatever their length: that is
    // three times as fast as appending as many characters as count.
    struct Replacement {
        std::array<char, 3> text;
        unsigned char length;
    };
    using Table = std::array<Replacement, 256>;

    static constexpr Table table(Blank replacement);
    void makeRoom();

    const Table& table_;
    // Text is made here and moved on as a whole, so that a short one takes memory once, and no more
    // than it is long.
    std::array<char, 1024> piece_;
    std::size_t used_ = 0;
    std::string moved_;
};

}  // namespace tavrin::httpclient_core
