#pragma once

#include <sys/types.h>

#include <list>
#include <memory>
#include <thread>

namespace tavrin::httpclient_curl::detail {

// A thread that ends the pool that it belongs to, and so cannot be joined by it: a handler destroys
// its client. The next such thread of the process joins it when it ends itself, and the end of the
// program joins the last one.
class LeftThread {
public:
    // Joins all of `threads` but the calling one, which is returned if it is among them.
    static std::thread joinOthers(std::list<std::thread>& threads);

    // Leaves the calling thread, which `thread` is, to others. What this returns, if anything, the
    // calling thread joins at its end.
    static std::unique_ptr<LeftThread> leave(std::unique_ptr<LeftThread> place,
                                             std::thread thread) noexcept;

    // Joins the thread and destroys what is left of it.
    static void join(std::unique_ptr<LeftThread> left);

private:
    static void joinLast();

    std::thread thread_;
    pid_t process_ = 0;
};

}  // namespace tavrin::httpclient_curl::detail
