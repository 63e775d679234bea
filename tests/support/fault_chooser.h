#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace tavrin::httpclient_core::test {

/// Chooses at random, and the same again for the same seed, what goes wrong with a transfer: steps
/// of a FaultServer's plan.
class FaultChooser {
public:
    explicit FaultChooser(std::uint64_t seed) : random_(seed) {}

    std::uint64_t below(std::uint64_t limit);
    bool oneIn(std::uint64_t count);

    /// One step that goes wrong while `size` bytes are downloaded. Where bytes that an earlier
    /// answer left cannot be cut off, no answer is longer than the last one.
    std::string downloadFault(std::uint64_t size, bool mayLeaveBytes);
    /// The same while they are uploaded.
    std::string uploadFault(std::uint64_t size);

    /// Steps that last until the client has waited for long enough.
    std::string downloadStall(std::uint64_t size);
    std::string uploadStall(std::uint64_t size);

private:
    std::string at(std::uint64_t size);
    std::string sign();
    std::string grown(bool mayShrink);

    std::mt19937_64 random_;
};

}  // namespace tavrin::httpclient_core::test
