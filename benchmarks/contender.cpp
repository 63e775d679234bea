#include "contender.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "allocation_counter.h"
#include "instruction_count.h"

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Highest resident memory of this program; that of rusage would include its parent's.
std::uint64_t peakBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string field; status >> field; status.ignore(1000, '\n')) {
        std::uint64_t kibibytes = 0;
        if (field == "VmHWM:" && status >> kibibytes) return kibibytes * 1024;
    }
    throw std::runtime_error("No VmHWM in /proc/self/status");
}

Task parseTask(char** arguments) {
    Task task;
    task.url = arguments[0];
    const std::size_t host = task.url.find("://") + 3;
    const std::size_t port = task.url.find(':', host);
    const std::size_t path = task.url.find('/', port);
    task.host = task.url.substr(host, port - host);
    task.port = static_cast<std::uint16_t>(std::stoul(task.url.substr(port + 1)));
    task.path = task.url.substr(path);
    task.requests = std::stoul(arguments[1]);
    task.bytes = std::stoull(arguments[2]);
    task.file = arguments[3];
    return task;
}

void measure(const std::function<void(const Task&)>& work, const Task& task) {
    if (task.requests > 1) {
        Task warmUp = task;
        warmUp.requests = task.requests / 20 + 1;
        work(warmUp);
    }

    const std::size_t allocations = allocationCount();
    const double cpu = cpuSeconds();
    const auto from = std::chrono::steady_clock::now();
    countInstructions([&] { work(task); });
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - from;
    std::cout << "{\"wall\": " << wall.count() << ", \"cpu\": " << cpuSeconds() - cpu
              << ", \"allocations\": " << allocationCount() - allocations
              << ", \"peak\": " << peakBytes() << "}\n";
}

}  // namespace

int compete(int argc, char** argv, const Works& works) {
    try {
        const auto work = works.find(argc == 6 ? argv[1] : "");
        if (work == works.end()) {
            for (const auto& [name, ignored] : works) std::cout << name << '\n';
        } else {
            measure(work->second, parseTask(argv + 2));
            // What libraries do when their program ends belongs to no work, and the threads of
            // cpprestsdk sometimes wait for each other then.
            std::cout.flush();
            std::_Exit(EXIT_SUCCESS);
        }
    } catch (const std::exception& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

void expect(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

void inThreads(std::size_t requests, const std::function<void(std::size_t share)>& session) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < IN_FLIGHT; ++i)
        threads.emplace_back(session, requests / IN_FLIGHT + (i < requests % IN_FLIGHT ? 1 : 0));
    for (std::thread& thread : threads) thread.join();
}
