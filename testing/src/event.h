#pragma once

#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {

// Something that happens once and that a thread can wait for together with a socket.
class Event {
public:
    Event();

    // Readable from set() on.
    int descriptor() const { return descriptor_.number(); }
    void set();

private:
    FileDescriptor descriptor_;
};

}  // namespace tavrin::httpclient_testing::detail
