#include "worker_threads.h"

#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "interruption.h"

namespace tavrin::http_tool {
namespace {

// A thread may begin to wait just behind its reminder, and needs another.
constexpr auto REMINDER_INTERVAL = std::chrono::milliseconds(100);

struct Worker {
    std::thread thread;
    std::future<void> end;
};

void join(Worker& worker) {
    while (worker.end.wait_for(REMINDER_INTERVAL) == std::future_status::timeout) {
        if (interruptingSignal() != 0) interruptWaiting(worker.thread);
    }
    worker.thread.join();
}

}  // namespace

void runOnThreads(std::size_t count, const std::function<void()>& work) {
    std::vector<Worker> workers;
    workers.reserve(count - 1);
    try {
        while (workers.size() + 1 < count) {
            std::packaged_task<void()> task(work);
            std::future<void> end = task.get_future();
            workers.push_back({std::thread(std::move(task)), std::move(end)});
        }
    } catch (const std::system_error&) {
        // Where there can be no more threads, those that there are do the work.
    }
    work();
    for (Worker& worker : workers) join(worker);
}

}  // namespace tavrin::http_tool
