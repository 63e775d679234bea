#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace tavrin::http_tool {

void fillClosedStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        // The lowest free descriptor is taken, which is this one. Opened the wrong way round, so
        // that what should have been read or written is not taken for done.
        open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace tavrin::http_tool
