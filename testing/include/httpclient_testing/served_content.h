#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// Bytes that are computed, not stored: every byte is a pure function of the seed and its offset,
/// so a body of many gigabytes costs no memory and any part of it can be had at once. The bytes
/// look random, so that a misplaced or repeated piece never passes for the right one.
///
/// A plain value of two numbers; `size` is in bytes.
struct HTTPCLIENT_TESTING_EXPORT ServedContent {
    std::uint64_t seed = 1;
    std::uint64_t size = 0;

    /// The byte at `offset`; an offset at or behind `size` has a byte as well. Constant time.
    char byteAt(std::uint64_t offset) const;

    /// Writes the `count` bytes from `offset` on to `to`. Linear in `count`.
    void read(std::uint64_t offset, char* to, std::size_t count) const;

    /// The `count` bytes from `offset` on. Linear in `count`.
    std::string range(std::uint64_t offset, std::size_t count) const;

    /// All `size` bytes in memory.
    std::string all() const;

    /// SHA-256 of all `size` bytes: 64 hexadecimal digits, or its 32 bytes. Linear in `size`, in
    /// constant memory; nothing is remembered.
    std::string sha256() const;
    std::string sha256Bytes() const;
};

}  // namespace tavrin::httpclient_testing
