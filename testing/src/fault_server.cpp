#include "httpclient_testing/fault_server.h"

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <list>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "connection.h"
#include "listener.h"
#include "server_state.h"
#include "tls_context.h"

namespace tavrin::httpclient_testing {
namespace {

// Threads inherit the signal mask: while this lives, new ones block every signal, which so stay the
// application's, and none of them dies of a broken pipe.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

FaultServerOptions optionsWith(FaultPlan plan) {
    FaultServerOptions options;
    options.plan = std::move(plan);
    return options;
}

}  // namespace

class FaultServer::Implementation {
public:
    explicit Implementation(FaultServerOptions options)
        : certificates_(std::move(options.certificates)), state_(listener_, options.content) {
        if (options.tls) {
            if (!certificates_) certificates_ = std::make_shared<TestCertificates>();
            tls_ = detail::makeTlsContext(*certificates_, *options.tls);
        }
        state_.setPlan(std::move(options.plan));
        const SignalsBlocked blocked;
        acceptor_ = std::thread([this] { acceptConnections(); });
    }

    ~Implementation() { stop(); }

    void stop() {
        const std::lock_guard lock(stopping_);
        state_.stopEvent().set();
        listener_.refuse(std::nullopt);
        if (acceptor_.joinable()) acceptor_.join();
        for (Worker& worker : workers_) worker.thread.join();
        workers_.clear();
    }

    detail::Place place() const { return {listener_.port(), static_cast<bool>(tls_)}; }

    const TestCertificates& certificates() const {
        if (!tls_) throw std::logic_error("The server is plain.");
        return *certificates_;
    }

    detail::ServerState& state() { return state_; }
    detail::Listener& listener() { return listener_; }

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void acceptConnections() {
        while (auto socket = listener_.accept(state_.stopEvent().descriptor())) {
            joinFinishedWorkers();
            Worker& worker = workers_.emplace_back();
            try {
                worker.thread = std::thread([this, &worker, own = std::move(*socket)]() mutable {
                    detail::Connection(std::move(own), state_, place(), tls_.get()).serve();
                    worker.done = true;
                });
            } catch (const std::system_error&) {
                workers_.pop_back();  // no thread to be had: the connection is closed, the server
                                      // goes on
            }
        }
    }

    void joinFinishedWorkers() {
        workers_.remove_if([](Worker& worker) {
            if (!worker.done) return false;
            worker.thread.join();
            return true;
        });
    }

    std::shared_ptr<const TestCertificates> certificates_;
    detail::TlsContext tls_;
    detail::Listener listener_;
    detail::ServerState state_;
    std::mutex stopping_;
    std::list<Worker> workers_;  // the accepting thread's, until that has ended
    std::thread acceptor_;
};

FaultServer::FaultServer(FaultPlan plan) : FaultServer(optionsWith(std::move(plan))) {}

FaultServer::FaultServer(FaultServerOptions options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}

FaultServer::~FaultServer() = default;

void FaultServer::stop() { implementation_->stop(); }

int FaultServer::port() const { return implementation_->place().port; }

std::string FaultServer::url(const std::string& path) const {
    return urlWithHost("127.0.0.1", path);
}

std::string FaultServer::urlWithHost(const std::string& host, const std::string& path) const {
    const detail::Place place = implementation_->place();
    return (place.tls ? "https://" : "http://") + host + ":" + std::to_string(place.port) + path;
}

std::string FaultServer::caFile() const { return implementation_->certificates().caFile(); }

void FaultServer::serve(const std::string& path, ServedContent content) {
    implementation_->state().serve(path, content);
}

ServedContent FaultServer::content(const std::string& path) const {
    return implementation_->state().resource(path).content;
}

std::string FaultServer::etag(const std::string& path) const {
    return '"' + implementation_->state().resource(path).etag + '"';
}

void FaultServer::setPlan(FaultPlan plan) { implementation_->state().setPlan(std::move(plan)); }

void FaultServer::setPlan(const std::string& path, FaultPlan plan) {
    implementation_->state().setPlan(path, std::move(plan));
}

void FaultServer::release() { implementation_->state().release(); }

void FaultServer::waitForStalls(std::size_t count, std::chrono::milliseconds patience) const {
    implementation_->state().waitForStalls(count, patience);
}

void FaultServer::refuseConnections() { implementation_->listener().refuse(std::nullopt); }

void FaultServer::acceptAgain() { implementation_->listener().acceptAgain(); }

void FaultServer::closeConnections() { implementation_->state().shutDownConnections(); }

std::vector<ReceivedRequest> FaultServer::requests() const {
    return implementation_->state().requests();
}

std::vector<ReceivedRequest> FaultServer::waitForRequests(
    std::size_t count, std::chrono::milliseconds patience) const {
    return implementation_->state().waitForRequests(count, patience);
}

void FaultServer::forgetRequests() { implementation_->state().forgetRequests(); }

std::size_t FaultServer::connectionsAccepted() const {
    return implementation_->state().connectionsAccepted();
}

std::size_t FaultServer::connectionsOpen() const {
    return implementation_->state().connectionsOpen();
}

std::size_t FaultServer::mostConnectionsOpen() const {
    return implementation_->state().mostConnectionsOpen();
}

void FaultServer::waitForConnections(std::size_t count, std::chrono::milliseconds patience) const {
    implementation_->state().waitForConnections(count, patience);
}

void FaultServer::waitUntilIdle(std::chrono::milliseconds patience) const {
    implementation_->state().waitUntilIdle(patience);
}

}  // namespace tavrin::httpclient_testing
