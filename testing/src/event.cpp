#include "event.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace tavrin::httpclient_testing::detail {

Event::Event() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!descriptor_) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Event::set() { eventfd_write(descriptor(), 1); }

void Event::clear() {
    eventfd_t count = 0;
    eventfd_read(descriptor(), &count);
}

}  // namespace tavrin::httpclient_testing::detail
