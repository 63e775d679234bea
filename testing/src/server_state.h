#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "event.h"
#include "httpclient_testing/fault_plan.h"
#include "httpclient_testing/received_request.h"
#include "listener.h"
#include "peer_stream.h"
#include "resource.h"

namespace tavrin::httpclient_testing::detail {

// A step that a request or a connection has taken.
struct TakenStep {
    std::size_t number = 0;
    FaultStep step;
    // Nobody will listen after this step, so its connection has to be closed for that to be
    // noticed.
    bool refusedNext = false;
};

// What all connections of a server share: the plans, the content, the log, the stalls, the
// connections themselves. Every operation locks for itself.
class ServerState {
public:
    ServerState(Listener& listener, const ServedContent& content);

    Event& stopEvent() { return stop_; }

    void setPlan(FaultPlan plan);
    void setPlan(const std::string& path, FaultPlan plan);
    // The next step for a request to this path.
    TakenStep takeStep(const std::string& path);
    // The next step if it concerns the connection as such; the step stays if not.
    ConnectionFault takeConnectionFault();

    void serve(const std::string& path, const ServedContent& content);
    Resource resource(const std::string& path);
    // Goes on to another version first if the step says so.
    Resource resource(const std::string& path, const FaultStep& step);

    // Adds a request to the log; the number is for changeRequest().
    std::size_t addRequest(ReceivedRequest request);
    void changeRequest(std::size_t number, const std::function<void(ReceivedRequest&)>& change);
    std::vector<ReceivedRequest> requests() const;
    std::vector<ReceivedRequest> waitForRequests(std::size_t count,
                                                 std::chrono::milliseconds patience) const;
    void forgetRequests();

    // Waits for the next release().
    void stall(PeerStream& stream);
    void release();
    void waitForStalls(std::size_t count, std::chrono::milliseconds patience) const;

    // Counts a connection as open while it lives.
    class OpenConnection {
    public:
        OpenConnection(ServerState& state, int socket);
        ~OpenConnection();
        OpenConnection(const OpenConnection&) = delete;
        OpenConnection& operator=(const OpenConnection&) = delete;

        // From 1, in the order of their being accepted.
        std::size_t number() const { return number_; }

    private:
        ServerState& state_;
        std::size_t number_;
    };

    // The connection's socket is about to be closed; until then shutDownConnections() shuts it
    // down.
    void removeSocket(std::size_t connection);
    void shutDownConnections();
    std::size_t connectionsAccepted() const;
    std::size_t connectionsOpen() const;
    std::size_t mostConnectionsOpen() const;
    void waitForConnections(std::size_t count, std::chrono::milliseconds patience) const;
    void waitUntilIdle(std::chrono::milliseconds patience) const;

private:
    // Makes an event known to release() while it lives.
    struct Stall {
        explicit Stall(ServerState& state);
        ~Stall();
        Stall(const Stall&) = delete;
        Stall& operator=(const Stall&) = delete;

        Event released;

    private:
        ServerState& state_;
    };

    struct Cursor {
        FaultPlan plan;
        std::size_t next = 0;

        const FaultStep& current() const;
        std::size_t number() const;
    };

    void refuseIfNext(Cursor& cursor, TakenStep& taken);
    Resource& resourceLocked(const std::string& path);
    // Waits until `seen` gives at least `count`; throws "Waited for <count> <things>, saw <seen>.".
    void waitFor(std::unique_lock<std::mutex>& lock, std::size_t count, const std::string& things,
                 std::chrono::milliseconds patience,
                 const std::function<std::size_t()>& seen) const;

    Listener& listener_;
    Event stop_;
    const ServedContent content_;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Cursor plan_;
    std::map<std::string, Cursor> pathPlans_;
    std::map<std::string, Resource> resources_;
    std::vector<ReceivedRequest> requests_;
    std::size_t requestsForgotten_ = 0;
    std::vector<Event*> stalls_;
    std::size_t stallsSeen_ = 0;
    std::map<std::size_t, int> sockets_;
    std::size_t connectionsAccepted_ = 0;
    std::size_t connectionsOpen_ = 0;
    std::size_t mostConnectionsOpen_ = 0;
};

}  // namespace tavrin::httpclient_testing::detail
