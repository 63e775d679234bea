#pragma once

#include <pthread.h>
#include <signal.h>

namespace tavrin::httpclient_curl::detail {

// Blocks every signal while it lives. A thread that is started meanwhile keeps them blocked:
// signals are the application's business and belong to its own threads.
class SignalBlock {
public:
    SignalBlock() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t before_;
};

}  // namespace tavrin::httpclient_curl::detail
