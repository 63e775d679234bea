#pragma once

#include <istream>
#include <utility>

namespace tavrin::httpclient_core::test {

/// A stream of the type `Stream`, such as std::iostream, that owns its buffer, which it makes of
/// what it is made of.
template <typename Stream, typename Buffer>
class OwningStream : public Stream {
public:
    template <typename... Arguments>
    explicit OwningStream(Arguments&&... arguments)
        : Stream(nullptr), buffer_(std::forward<Arguments>(arguments)...) {
        this->rdbuf(&buffer_);
    }

    const Buffer& buffer() const { return buffer_; }

private:
    Buffer buffer_;
};

}  // namespace tavrin::httpclient_core::test
