#include "synchronous_channels.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// Idle ones beyond this number are closed: many threads at once are rarely many threads for long.
constexpr std::size_t MOST_IDLE_CHANNELS = 32;

class Membership {
public:
    Membership(MultiHandle& multi, EasyHandle& easy) : multi_(multi), easy_(easy) {
        multi_.add(easy_.get());
    }
    ~Membership() { multi_.remove(easy_.get()); }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

private:
    MultiHandle& multi_;
    EasyHandle& easy_;
};

// Runs one exchange; true if it came to its end, false if it was stopped.
bool runExchange(MultiHandle& multi, EasyHandle& easy, Attempt& attempt,
                 const std::atomic<bool>& closing, CURLcode& code) {
    const Membership membership(multi, easy);
    for (;;) {
        multi.perform();
        if (multi.ended(code) != nullptr) return true;
        if (closing)
            attempt.fail(std::make_exception_ptr(httpclient_core::HttpRequestCancelledException()));
        if (closing || !attempt.keepsGoing()) return false;
        multi.wait(attempt.patience());
    }
}

// What stands before the path: the same text means the same server.
std::string serverOf(const httpclient_core::URL& url) {
    const std::string text = url.toAsciiString();
    const std::size_t scheme = text.find("://");
    if (scheme == std::string::npos) return {};
    return text.substr(0, text.find_first_of("/?#", scheme + 3));
}

}  // namespace

void SynchronousChannels::run(Attempt& attempt, const httpclient_core::URL& url,
                              const std::atomic<bool>& closing) {
    std::unique_ptr<Channel> channel = take(serverOf(url));
    bool more = attempt.start(channel->easy, channel->clock);
    while (more) {
        CURLcode code = CURLE_OK;
        if (runExchange(channel->multi, channel->easy, attempt, closing, code)) {
            more = attempt.exchangeEnded(code);
        } else {
            attempt.exchangeStopped();
            more = false;
        }
    }
    if (channel->easy.isUsable()) giveBack(std::move(channel));
}

std::unique_ptr<SynchronousChannels::Channel> SynchronousChannels::take(std::string server) {
    std::unique_ptr<Channel> channel;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto found = std::find_if(idle_.rbegin(), idle_.rend(),
                                  [&](const auto& idle) { return idle->server == server; });
        if (found == idle_.rend()) found = idle_.rbegin();
        if (found != idle_.rend()) {
            channel = std::move(*found);
            idle_.erase(std::next(found).base());
        }
    }
    if (channel == nullptr) channel = std::make_unique<Channel>(options_);
    channel->server = std::move(server);
    return channel;
}

void SynchronousChannels::giveBack(std::unique_ptr<Channel> channel) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (idle_.size() < MOST_IDLE_CHANNELS) idle_.push_back(std::move(channel));
}

}  // namespace tavrin::httpclient_curl::detail
