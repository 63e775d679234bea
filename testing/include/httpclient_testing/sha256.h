#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// A SHA-256 digest that is taken piece by piece, so that a body of any size needs no memory.
///
/// Movable, not copyable; one object belongs to one thread at a time. A moved-from object may only
/// be destroyed or assigned to.
class HTTPCLIENT_TESTING_EXPORT Sha256 {
public:
    /// The digest of no bytes.
    /// @throws std::runtime_error "SHA-256 is not available." if the cryptographic library refuses.
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;

    /// Takes in `size` bytes from `data`, after those that were taken in before. Linear in `size`.
    void update(const char* data, std::size_t size);
    void update(const std::string& data);

    /// The digest of everything taken in so far: 32 bytes, or 64 lower-case hexadecimal digits.
    /// More may be taken in afterwards.
    std::string bytes() const;
    std::string hex() const;

private:
    struct HTTPCLIENT_TESTING_HIDDEN Context;
    std::unique_ptr<Context> context_;
};

/// SHA-256 of `text` as 64 lower-case hexadecimal digits. Linear in its length.
HTTPCLIENT_TESTING_EXPORT std::string sha256Hex(const std::string& text);

}  // namespace tavrin::httpclient_testing
