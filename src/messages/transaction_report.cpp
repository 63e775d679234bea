#include <utility>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

TransactionReport::TransactionReport(long redirectCount, URL effectiveURL)
    : redirectCount_(redirectCount), effectiveURL_(std::move(effectiveURL)) {}

TransactionReport& TransactionReport::operator=(const TransactionReport& other) {
    return *this = TransactionReport(other);
}

long TransactionReport::redirectCount() const { return redirectCount_; }

URL TransactionReport::effectiveURL() const { return effectiveURL_; }

}  // namespace tavrin::httpclient_core
