// What no client on top of the system's sockets can undercut: the fewest calls, into buffers that
// are used again, and no more understood of an answer than where its body begins and ends.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "contender.h"

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) { expect(number >= 0, "No descriptor"); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(number_); }

    int number() const { return number_; }

private:
    int number_;
};

class Connection {
public:
    explicit Connection(const Task& task)
        : socket_(socket(AF_INET, SOCK_STREAM, 0)),
          request_("GET " + task.path + " HTTP/1.1\r\nHost: " + task.host + "\r\n\r\n"),
          buffer_(256 * 1024) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(task.port);
        inet_pton(AF_INET, task.host.c_str(), &address.sin_addr);
        expect(
            connect(socket_.number(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "No connection");
    }

    int descriptor() const { return socket_.number(); }

    void send(std::string_view text) const {
        expect(::send(descriptor(), text.data(), text.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(text.size()),
               "Sending failed");
    }

    void ask() {
        filled_ = head_ = 0;
        send(request_);
    }

    // Receives what there is, or waits for it, as long as no whole head has come; then also for
    // what the buffer holds of the body. True when that is the whole answer.
    bool receive() {
        const ssize_t count =
            recv(descriptor(), buffer_.data() + filled_, buffer_.size() - filled_, 0);
        expect(count > 0, "Receiving failed");
        filled_ += static_cast<std::size_t>(count);
        if (head_ == 0) findHead();
        return head_ != 0 && filled_ - head_ >= length_;
    }

    void receiveHead() {
        while (head_ == 0) receive();
    }

    std::uint64_t bodyLength() const { return length_; }
    // What came with the head.
    std::string_view bodyBegin() const { return {buffer_.data() + head_, filled_ - head_}; }

    // Hands each piece of a body to `take`, once the head has been received.
    template <typename Take>
    void receiveBody(Take take) {
        std::uint64_t left = length_ - bodyBegin().size();
        take(bodyBegin());
        while (left > 0) {
            const ssize_t count = recv(descriptor(), buffer_.data(), buffer_.size(), 0);
            expect(count > 0, "Receiving failed");
            take(std::string_view(buffer_.data(), static_cast<std::size_t>(count)));
            left -= static_cast<std::uint64_t>(count);
        }
    }

private:
    void findHead() {
        const std::string_view answer(buffer_.data(), filled_);
        const std::size_t end = answer.find("\r\n\r\n");
        if (end == std::string_view::npos) return;
        head_ = end + 4;
        constexpr std::string_view NAME = "\r\nContent-Length: ";
        const std::size_t name = answer.substr(0, end).find(NAME);
        length_ = name == std::string_view::npos
                      ? 0
                      : std::strtoull(answer.data() + name + NAME.size(), nullptr, 10);
    }

    Descriptor socket_;
    std::string request_;
    std::vector<char> buffer_;
    std::size_t filled_ = 0;
    std::size_t head_ = 0;
    std::uint64_t length_ = 0;
};

void sequential(const Task& task) {
    Connection connection(task);
    for (std::size_t i = 0; i < task.requests; ++i) {
        connection.ask();
        while (!connection.receive()) continue;
        expect(connection.bodyLength() == task.bytes, "A response is short");
    }
}

void parallel(const Task& task) {
    const Descriptor epoll(epoll_create1(0));
    std::list<Connection> connections;
    std::size_t asked = 0;
    for (; asked < std::min(IN_FLIGHT, task.requests); ++asked) {
        Connection& connection = connections.emplace_back(task);
        epoll_event event{EPOLLIN, {&connection}};
        epoll_ctl(epoll.number(), EPOLL_CTL_ADD, connection.descriptor(), &event);
        connection.ask();
    }
    std::array<epoll_event, IN_FLIGHT> events{};
    for (std::size_t answered = 0; answered < task.requests;) {
        const int count = epoll_wait(epoll.number(), events.data(), IN_FLIGHT, -1);
        for (int i = 0; i < count; ++i) {
            auto& connection =
                *static_cast<Connection*>(events[static_cast<std::size_t>(i)].data.ptr);
            if (!connection.receive()) continue;
            expect(connection.bodyLength() == task.bytes, "A response is short");
            ++answered;
            if (asked == task.requests) continue;
            connection.ask();
            ++asked;
        }
    }
}

template <typename Take>
void download(const Task& task, Take take) {
    Connection connection(task);
    connection.ask();
    connection.receiveHead();
    expect(connection.bodyLength() == task.bytes, "The download is short");
    connection.receiveBody(take);
}

void discard(const Task& task) {
    download(task, [](std::string_view) {});
}

void toFile(const Task& task) {
    const Descriptor file(open(task.file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    download(task, [&](std::string_view piece) {
        expect(
            write(file.number(), piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()),
            "Writing failed");
    });
}

void intoMemory(const Task& task) {
    std::string body;
    body.reserve(task.bytes);
    download(task, [&](std::string_view piece) { body.append(piece); });
}

void upload(const Task& task) {
    const Descriptor file(open(task.file.c_str(), O_RDONLY));
    Connection connection(task);
    connection.send("PUT " + task.path + " HTTP/1.1\r\nHost: " + task.host +
                    "\r\nContent-Length: " + std::to_string(task.bytes) + "\r\n\r\n");
    for (std::uint64_t left = task.bytes; left > 0;) {
        const ssize_t count = sendfile(connection.descriptor(), file.number(), nullptr, left);
        expect(count > 0, "Sending failed");
        left -= static_cast<std::uint64_t>(count);
    }
    connection.receiveHead();
}

}  // namespace

int main(int argc, char** argv) {
    return compete(argc, argv,
                   {{"sequential", sequential},
                    {"parallel", parallel},
                    {"discard", discard},
                    {"file", toFile},
                    {"memory", intoMemory},
                    {"upload", upload}});
}
