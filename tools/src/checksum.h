#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace tavrin::http_tool {

/// The digest that a body is expected to have.
struct ExpectedChecksum {
    std::string algorithm;  ///< "sha256" or "sha512"
    std::string hex;        ///< lower case

    bool operator==(const ExpectedChecksum& other) const {
        return algorithm == other.algorithm && hex == other.hex;
    }

    /// "sha256:HEX" or "sha512:HEX".
    std::string text() const { return algorithm + ":" + hex; }

    /// Reads "sha256:HEX" or "sha512:HEX", letter case aside.
    /// @throws std::runtime_error that says what is wrong with `text`.
    static ExpectedChecksum parse(const std::string& text);
};

/// Running digest of bytes. Moves, does not copy.
class Checksum {
public:
    /// @throws std::runtime_error if the machine's OpenSSL refuses `algorithm`.
    explicit Checksum(const std::string& algorithm);

    void update(const char* data, std::size_t size);

    /// The digest of what was given so far, in lower case. To be asked once, at the end.
    std::string hex();

private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> context_;
};

/// Digest of everything that the open file holds; its position stays where it was.
/// @throws std::system_error if it cannot be read.
std::string checksumOfFile(const std::string& algorithm, int descriptor);

/// Bytes as hexadecimal digits, in lower case.
std::string inHex(std::string_view bytes);

/// Digest of a text.
std::string checksumOfText(const std::string& algorithm, const std::string& text);

}  // namespace tavrin::http_tool
