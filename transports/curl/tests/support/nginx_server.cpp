#include "support/nginx_server.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace tavrin::httpclient_curl::test {
namespace {

using boost::asio::ip::tcp;

tcp::acceptor listenOnFreePort(boost::asio::io_context& context) {
    return tcp::acceptor(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
}

std::string hostAndPort(const tcp::acceptor& listener) {
    return "127.0.0.1:" + std::to_string(listener.local_endpoint().port());
}

std::filesystem::path makeTemporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "nginx-XXXXXX").string();
    if (!::mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
    return path;
}

std::string readFile(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace

bool NginxServer::Exchange::operator==(const Exchange& other) const {
    return request == other.request && status == other.status && range == other.range &&
           ifRange == other.ifRange;
}

std::ostream& operator<<(std::ostream& os, const NginxServer::Exchange& exchange) {
    return os << exchange.request << " -> " << exchange.status << ", Range " << exchange.range
              << ", If-Range " << exchange.ifRange;
}

NginxServer::NginxServer()
    : directory_(makeTemporaryDirectory()),
      plain_(listenOnFreePort(context_)),
      tls_(listenOnFreePort(context_)) {
    std::filesystem::create_directory(directory_ / "files");
    writeConfiguration();
    start();
}

NginxServer::~NginxServer() {
    end();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string NginxServer::url(const std::string& path) const {
    return "http://" + hostAndPort(plain_) + path;
}

std::string NginxServer::httpsUrl(const std::string& path) const {
    return "https://" + hostAndPort(tls_) + path;
}

std::string NginxServer::caFile() const { return certificates_.caFile(); }

void NginxServer::serve(const std::string& path, const std::string& content) {
    const std::filesystem::path fresh = directory_ / "fresh";
    std::ofstream(fresh, std::ios::binary) << content;
    // A file put in place of another one: what nginx has open stays as it was.
    std::filesystem::rename(fresh, directory_ / "files" / path.substr(1));
}

void NginxServer::restart() {
    end();
    start();
}

std::vector<NginxServer::Exchange> NginxServer::stop() {
    end();
    std::vector<Exchange> exchanges;
    std::ifstream log(directory_ / "access.log");
    for (std::string line; std::getline(log, line);) {
        std::istringstream fields(line);
        Exchange exchange;
        std::string status;
        std::getline(fields, exchange.request, '|');
        std::getline(fields, status, '|');
        std::getline(fields, exchange.range, '|');
        std::getline(fields, exchange.ifRange);
        exchange.status = std::stoi(status);
        exchanges.push_back(exchange);
    }
    return exchanges;
}

// All paths are relative to the directory that nginx is started with.
void NginxServer::writeConfiguration() const {
    using httpclient_testing::TlsKind;
    std::ofstream file(directory_ / "nginx.conf");
    // The workers of a privileged nginx would be somebody else, who can't read the directory.
    if (::geteuid() == 0) file << "user root;\n";
    file << R"(
daemon off;
worker_processes 1;
pid nginx.pid;
events {}
http {
    client_body_temp_path client;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    log_format exchange escape=none '$request|$status|$http_range|$http_if_range';
    access_log access.log exchange;
    root files;
)";
    // Small send buffers: what a restart cuts off is not on its way already.
    file << "server { listen " << hostAndPort(plain_) << " sndbuf=64k;\n"
         << "    location = / { access_log off; return 204; } }\n"
         << "server { listen " << hostAndPort(tls_) << " ssl http2 sndbuf=64k;\n"
         << "    ssl_certificate " << certificates_.certificateFile(TlsKind::GOOD) << ";\n"
         << "    ssl_certificate_key " << certificates_.keyFile(TlsKind::GOOD) << "; }\n}\n";
}

// nginx takes the listening sockets over as it does from a predecessor whose program was replaced.
// The ports so stay ours from the first moment to the last, whether it runs or not.
void NginxServer::start() {
    const int plain = plain_.native_handle();
    const int tls = tls_.native_handle();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // Onto itself: the socket stays open in the new program.
    posix_spawn_file_actions_adddup2(&actions, plain, plain);
    posix_spawn_file_actions_adddup2(&actions, tls, tls);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    std::string program = "/usr/sbin/nginx";
    std::string configuration = (directory_ / "nginx.conf").string();
    std::string errorLog = (directory_ / "error.log").string();
    std::string prefix = directory_.string();
    std::string dashC = "-c", dashE = "-e", dashP = "-p";
    char* const arguments[] = {program.data(),  dashC.data(), configuration.data(), dashE.data(),
                               errorLog.data(), dashP.data(), prefix.data(),        nullptr};
    std::string sockets = "NGINX=" + std::to_string(plain) + ";" + std::to_string(tls) + ";";
    char* const environment[] = {sockets.data(), nullptr};

    const int error =
        ::posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environment);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), program);
    if (!answers()) {
        end();
        throw std::runtime_error("nginx does not start: " + readFile(errorLog));
    }
}

bool NginxServer::answers() {
    tcp::iostream connection;
    connection.expires_after(std::chrono::seconds(10));
    connection.connect(plain_.local_endpoint());
    connection << "GET / HTTP/1.0\r\n\r\n" << std::flush;
    std::string statusLine;
    return static_cast<bool>(std::getline(connection, statusLine));
}

void NginxServer::end() {
    if (process_ < 0) return;
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

}  // namespace tavrin::httpclient_curl::test
