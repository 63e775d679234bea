#pragma once

#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {

// Something that a thread can wait for together with a socket.
class Event {
public:
    Event();

    // Readable from set() to clear().
    int descriptor() const { return descriptor_.number(); }
    void set();
    void clear();

private:
    FileDescriptor descriptor_;
};

}  // namespace tavrin::httpclient_testing::detail
