// A program that goes on misusing the library, with logging switched on, while its static objects
// are destroyed: the channel has ended by then, and nothing may come of it.

#include <cstdlib>
#include <stdexcept>

#include "httpclient_core/headers.h"
#include "httpclient_core/logging.h"

namespace {

using namespace tavrin::httpclient_core;

void misuse() {
    try {
        HttpHeaders().getHeaderValue("Absent");
        std::abort();
    } catch (const std::out_of_range&) {
    }
}

struct LateMisuse {
    ~LateMisuse() {
        setLogSeverityMask(LOG_CHANNEL, LOG_MISUSE);
        misuse();
    }
};

}  // namespace

int main() {
    static const LateMisuse late;
    setLogSeverityMask(LOG_CHANNEL, LOG_MISUSE);
    misuse();
    return EXIT_SUCCESS;
}
