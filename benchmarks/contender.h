#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

/// Requests that are under way at once in the work "parallel".
constexpr std::size_t IN_FLIGHT = 32;

/// Futures that an asynchronous contender holds for each request under way, so that its queue never
/// runs dry.
constexpr std::size_t QUEUED = 8;

/// What a contender is to do, against a server on this machine.
struct Task {
    std::string url;
    /// The parts of `url`.
    std::string host;
    std::uint16_t port = 0;
    std::string path;

    /// How often, and the length of each body.
    std::size_t requests = 1;
    std::uint64_t bytes = 0;
    /// Where a download goes to, or an upload comes from.
    std::string file;
};

/// The works that a contender can do, by name:
/// - "sequential": `requests` GETs, one after the other; code, headers and body are kept as the
///   library keeps them until the next one;
/// - "parallel": the same with IN_FLIGHT requests under way;
/// - "queued": the same by the means of "parallel", with one request under way;
/// - "discard", "file", "memory": a GET whose body is dropped as it comes, goes to `file`, or is
///   held as a whole; "asynchronous" is "memory" by the means of "parallel";
/// - "upload": a PUT of `file`.
using Works = std::map<std::string, std::function<void(const Task&)>>;

/// main() of a contender: does one work and prints what it cost, or names those that it can do.
int compete(int argc, char** argv, const Works& works);

/// @throws std::runtime_error `what` unless `condition` holds: a work that failed has no cost.
void expect(bool condition, const char* what);

/// For libraries that block: calls `session` in IN_FLIGHT threads, each with its share of
/// `requests`.
void inThreads(std::size_t requests, const std::function<void(std::size_t share)>& session);
