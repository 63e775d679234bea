#pragma once

#include <string>
#include <string_view>

namespace tavrin::httpclient_core {

/// Percent encoding of any text (RFC 3986, 2.1): letters, digits and "-._~" stay, a blank becomes
/// the replacement, every other byte "%" and two upper-case hexadecimal digits.
class PercentEncoder {
public:
    explicit PercentEncoder(std::string spaceReplacement);

    std::string operator()(std::string text) const;

    /// Appends the encoded `text` to `encoded`.
    void append(std::string& encoded, std::string_view text) const;

private:
    std::string spaceReplacement_;
};

}  // namespace tavrin::httpclient_core
