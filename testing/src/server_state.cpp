#include "server_state.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

namespace tavrin::httpclient_testing::detail {
namespace {

// The content that a path like "/bytes/1000" asks for by itself.
ServedContent contentOf(const std::string& path, ServedContent content) {
    constexpr std::string_view PREFIX = "/bytes/";
    if (path.rfind(PREFIX, 0) != 0) return content;
    std::uint64_t size = 0;
    const char* const end = path.data() + path.size();
    const auto [stop, error] = std::from_chars(path.data() + PREFIX.size(), end, size);
    if (error == std::errc() && stop == end) content.size = size;
    return content;
}

// False as soon as the peer's end of the connection has arrived, whether or not the connection's
// thread has come to see it.
bool isHeldByThePeer(int socket) {
    // Waits for a thread that is just sending: what arrives meanwhile takes effect afterwards.
    int unread = 0;
    ioctl(socket, SIOCINQ, &unread);
    pollfd ended{socket, POLLRDHUP, 0};
    return ::poll(&ended, 1, 0) == 0;
}

}  // namespace

ServerState::ServerState(Listener& listener, const ServedContent& content)
    : listener_(listener), content_(content) {}

const FaultStep& ServerState::Cursor::current() const {
    static const FaultStep CORRECT;
    return plan.steps.empty() ? CORRECT : plan.steps[number()];
}

std::size_t ServerState::Cursor::number() const {
    return plan.steps.empty() ? next : std::min(next, plan.steps.size() - 1);
}

void ServerState::setPlan(FaultPlan plan) {
    const std::lock_guard lock(mutex_);
    plan_ = Cursor{std::move(plan), 0};
    TakenStep none;
    refuseIfNext(plan_, none);
}

void ServerState::setPlan(const std::string& path, FaultPlan plan) {
    const std::lock_guard lock(mutex_);
    pathPlans_[path] = Cursor{std::move(plan), 0};
}

void ServerState::refuseIfNext(Cursor& cursor, TakenStep& taken) {
    auto& steps = cursor.plan.steps;
    while (cursor.next < steps.size() &&
           steps[cursor.next].connection == ConnectionFault::REFUSED) {
        listener_.refuse(steps[cursor.next].refusedFor);
        taken.refusedNext = true;
        ++cursor.next;
    }
    // A refusal is over when the server listens again, so it is not what a plan goes on with for
    // ever.
    if (taken.refusedNext && cursor.next == steps.size()) steps.emplace_back();
}

TakenStep ServerState::takeStep(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto ownPlan = pathPlans_.find(path);
    Cursor& cursor = ownPlan != pathPlans_.end() ? ownPlan->second : plan_;
    TakenStep taken{cursor.number(), cursor.current(), false};
    ++cursor.next;
    refuseIfNext(cursor, taken);
    return taken;
}

ConnectionFault ServerState::takeConnectionFault() {
    const std::lock_guard lock(mutex_);
    const ConnectionFault fault = plan_.current().connection;
    if (fault == ConnectionFault::NONE) return fault;
    ++plan_.next;
    TakenStep none;
    refuseIfNext(plan_, none);
    return fault;
}

void ServerState::serve(const std::string& path, const ServedContent& content) {
    const std::lock_guard lock(mutex_);
    resourceLocked(path).replace(content);
}

Resource ServerState::resource(const std::string& path) {
    const std::lock_guard lock(mutex_);
    return resourceLocked(path);
}

Resource ServerState::resource(const std::string& path, const FaultStep& step) {
    const std::lock_guard lock(mutex_);
    Resource& resource = resourceLocked(path);
    if (step.change) resource.change(step.changeSize, step.keepValidators);
    return resource;
}

Resource& ServerState::resourceLocked(const std::string& path) {
    return resources_.try_emplace(path, contentOf(path, content_)).first->second;
}

std::size_t ServerState::addRequest(ReceivedRequest request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
    changed_.notify_all();
    return requestsForgotten_ + requests_.size() - 1;
}

void ServerState::changeRequest(std::size_t number,
                                const std::function<void(ReceivedRequest&)>& change) {
    const std::lock_guard lock(mutex_);
    if (number >= requestsForgotten_) change(requests_[number - requestsForgotten_]);
}

std::vector<ReceivedRequest> ServerState::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<ReceivedRequest> ServerState::waitForRequests(
    std::size_t count, std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    waitFor(lock, count, "requests", patience, [this] { return requests_.size(); });
    return requests_;
}

void ServerState::forgetRequests() {
    const std::lock_guard lock(mutex_);
    requestsForgotten_ += requests_.size();
    requests_.clear();
}

ServerState::Stall::Stall(ServerState& state) : state_(state) {
    const std::lock_guard lock(state_.mutex_);
    state_.stalls_.push_back(&released);
    ++state_.stallsSeen_;
    state_.changed_.notify_all();
}

ServerState::Stall::~Stall() {
    const std::lock_guard lock(state_.mutex_);
    auto& stalls = state_.stalls_;
    stalls.erase(std::find(stalls.begin(), stalls.end(), &released));
}

void ServerState::stall(PeerStream& stream) {
    stream.flush();  // what comes before the stall has left when it is seen
    const Stall stall(*this);
    stream.waitFor(stall.released.descriptor());
}

void ServerState::release() {
    const std::lock_guard lock(mutex_);
    for (Event* stalled : stalls_) stalled->set();
}

void ServerState::waitForStalls(std::size_t count, std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    waitFor(lock, count, "stalls", patience, [this] { return stallsSeen_; });
}

ServerState::OpenConnection::OpenConnection(ServerState& state, int socket) : state_(state) {
    const std::lock_guard lock(state_.mutex_);
    number_ = ++state_.connectionsAccepted_;
    ++state_.connectionsOpen_;
    state_.sockets_[number_] = socket;
    const auto held =
        std::count_if(state_.sockets_.begin(), state_.sockets_.end(),
                      [](const auto& numbered) { return isHeldByThePeer(numbered.second); });
    state_.mostConnectionsOpen_ =
        std::max(state_.mostConnectionsOpen_, static_cast<std::size_t>(held));
    state_.changed_.notify_all();
}

ServerState::OpenConnection::~OpenConnection() {
    const std::lock_guard lock(state_.mutex_);
    --state_.connectionsOpen_;
    state_.changed_.notify_all();
}

void ServerState::removeSocket(std::size_t connection) {
    const std::lock_guard lock(mutex_);
    sockets_.erase(connection);
}

void ServerState::shutDownConnections() {
    const std::lock_guard lock(mutex_);
    for (const auto& [number, socket] : sockets_) shutdown(socket, SHUT_RDWR);
}

std::size_t ServerState::connectionsAccepted() const {
    const std::lock_guard lock(mutex_);
    return connectionsAccepted_;
}

std::size_t ServerState::connectionsOpen() const {
    const std::lock_guard lock(mutex_);
    return connectionsOpen_;
}

std::size_t ServerState::mostConnectionsOpen() const {
    const std::lock_guard lock(mutex_);
    return mostConnectionsOpen_;
}

void ServerState::waitForConnections(std::size_t count, std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    waitFor(lock, count, "connections", patience, [this] { return connectionsAccepted_; });
}

void ServerState::waitUntilIdle(std::chrono::milliseconds patience) const {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, patience, [this] { return connectionsOpen_ == 0; })) {
        throw std::runtime_error("Waited for no open connection, saw " +
                                 std::to_string(connectionsOpen_) + ".");
    }
}

void ServerState::waitFor(std::unique_lock<std::mutex>& lock, std::size_t count,
                          const std::string& things, std::chrono::milliseconds patience,
                          const std::function<std::size_t()>& seen) const {
    if (!changed_.wait_for(lock, patience, [&] { return seen() >= count; })) {
        throw std::runtime_error("Waited for " + std::to_string(count) + " " + things + ", saw " +
                                 std::to_string(seen()) + ".");
    }
}

}  // namespace tavrin::httpclient_testing::detail
