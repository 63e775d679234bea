// Boost.Beast: one blocking socket, or 32 asynchronous ones on one thread.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <limits>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "contender.h"

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::asio::ip::tcp;

tcp::endpoint endpointOf(const Task& task) {
    return {boost::asio::ip::make_address(task.host), task.port};
}

http::request<http::empty_body> get(const Task& task) {
    http::request<http::empty_body> request(http::verb::get, task.path, 11);
    request.set(http::field::host, task.host);
    return request;
}

void sequential(const Task& task) {
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(endpointOf(task));
    beast::flat_buffer buffer;
    for (std::size_t i = 0; i < task.requests; ++i) {
        http::write(socket, get(task));
        http::response<http::string_body> response;
        http::read(socket, buffer, response);
        expect(response.body().size() == task.bytes, "A response is short");
    }
}

// One connection of those that share what is left to ask for.
class Session {
public:
    Session(boost::asio::io_context& context, const Task& task, std::size_t& left)
        : socket_(context), task_(task), left_(left) {
        socket_.connect(endpointOf(task));
        next();
    }

private:
    void next() {
        if (left_ == 0) return;
        --left_;
        request_ = get(task_);
        http::async_write(socket_, request_, [this](beast::error_code error, std::size_t) {
            expect(!error, "A request failed");
            receive();
        });
    }

    void receive() {
        response_ = {};
        http::async_read(socket_, buffer_, response_, [this](beast::error_code error, std::size_t) {
            expect(!error, "A response failed");
            expect(response_.body().size() == task_.bytes, "A response is short");
            next();
        });
    }

    tcp::socket socket_;
    const Task& task_;
    std::size_t& left_;
    beast::flat_buffer buffer_;
    http::request<http::empty_body> request_;
    http::response<http::string_body> response_;
};

void parallel(const Task& task) {
    boost::asio::io_context context(1);
    std::size_t left = task.requests;
    std::list<Session> sessions;
    for (std::size_t i = 0; i < IN_FLIGHT; ++i) sessions.emplace_back(context, task, left);
    context.run();
}

// Asks for the body and reads its head; `finish` reads the rest into the parser's body.
template <typename Body, typename Prepare, typename Finish>
void download(const Task& task, Prepare prepare, Finish finish) {
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(endpointOf(task));
    http::write(socket, get(task));
    beast::flat_buffer buffer;
    http::response_parser<Body> parser;
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    prepare(parser.get().body());
    http::read_header(socket, buffer, parser);
    expect(parser.content_length_remaining().value_or(0) == task.bytes, "The download is short");
    finish(socket, buffer, parser);
}

const auto READ_ALL = [](auto& socket, auto& buffer, auto& parser) {
    http::read(socket, buffer, parser);
};

void discard(const Task& task) {
    std::vector<char> piece(64 * 1024);
    download<http::buffer_body>(
        task, [](auto&) {},
        [&](auto& socket, auto& buffer, auto& parser) {
            while (!parser.is_done()) {
                parser.get().body().data = piece.data();
                parser.get().body().size = piece.size();
                beast::error_code error;
                http::read(socket, buffer, parser, error);
                expect(!error || error == http::error::need_buffer, "The download failed");
            }
        });
}

void toFile(const Task& task) {
    download<http::file_body>(
        task,
        [&](auto& body) {
            beast::error_code error;
            body.open(task.file.c_str(), beast::file_mode::write, error);
            expect(!error, "No file");
        },
        READ_ALL);
}

void intoMemory(const Task& task) {
    download<http::string_body>(
        task, [](auto&) {}, READ_ALL);
}

void upload(const Task& task) {
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(endpointOf(task));
    http::request<http::file_body> request(http::verb::put, task.path, 11);
    request.set(http::field::host, task.host);
    beast::error_code error;
    request.body().open(task.file.c_str(), beast::file_mode::scan, error);
    expect(!error, "No file");
    request.prepare_payload();
    http::write(socket, request);
    beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(socket, buffer, response);
    expect(response.result() == http::status::no_content, "The upload failed");
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
