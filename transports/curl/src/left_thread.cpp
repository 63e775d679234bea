#include "left_thread.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <utility>

namespace tavrin::httpclient_curl::detail {
namespace {

// Owns it. It needs no destructor, since a client may end after every object that has one.
std::atomic<LeftThread*> last{nullptr};

thread_local bool isLeft = false;

}  // namespace

std::thread LeftThread::joinOthers(std::list<std::thread>& threads) {
    std::thread self;
    for (auto& thread : threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            self = std::move(thread);
        } else {
            thread.join();
        }
    }
    return self;
}

std::unique_ptr<LeftThread> LeftThread::leave(std::unique_ptr<LeftThread> place,
                                              std::thread thread) noexcept {
    // Called before what was made before it is destroyed, which the thread may still use. If
    // there is no room for it, the thread ends with the program like any other that runs on.
    static const int REGISTERED = std::atexit(joinLast);
    static_cast<void>(REGISTERED);
    isLeft = true;
    place->thread_ = std::move(thread);
    place->process_ = getpid();
    return std::unique_ptr<LeftThread>(last.exchange(place.release()));
}

void LeftThread::join(std::unique_ptr<LeftThread> left) {
    if (left == nullptr) return;
    if (left->process_ == getpid()) {
        left->thread_.join();
    } else {
        static_cast<void>(left.release());  // threads do not go along into the child of a fork()
    }
}

void LeftThread::joinLast() {
    // A handler that calls exit() cannot wait for those that wait for it.
    if (!isLeft) join(std::unique_ptr<LeftThread>(last.exchange(nullptr)));
}

}  // namespace tavrin::httpclient_curl::detail
