#include "support/nginx_server.h"

#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavrin::httpclient_curl::test {

bool NginxServer::Exchange::operator==(const Exchange& other) const {
    return request == other.request && status == other.status && range == other.range &&
           ifRange == other.ifRange;
}

std::ostream& operator<<(std::ostream& os, const NginxServer::Exchange& exchange) {
    return os << exchange.request << " -> " << exchange.status << ", Range " << exchange.range
              << ", If-Range " << exchange.ifRange;
}

NginxServer::NginxServer(Setup setup)
    : plain_(listenOnFreePort(context_)), tls_(listenOnFreePort(context_)) {
    std::filesystem::create_directory(directory() / "files");
    writeConfiguration(setup);
    start();
}

std::string NginxServer::url(const std::string& path) const {
    return "http://" + hostAndPort(plain_.local_endpoint()) + path;
}

std::string NginxServer::httpsUrl(const std::string& path) const {
    return "https://" + hostAndPort(tls_.local_endpoint()) + path;
}

std::string NginxServer::caFile() const { return certificates_.caFile(); }

void NginxServer::serve(const std::string& path, const std::string& content) {
    std::ofstream(fresh(), std::ios::binary) << content;
    putInPlace(path);
}

void NginxServer::serveZeros(const std::string& path, std::uintmax_t size) {
    std::ofstream(fresh(), std::ios::binary).flush();
    std::filesystem::resize_file(fresh(), size);
    putInPlace(path);
}

// A file put in place of another one: what nginx has open stays as it was.
void NginxServer::putInPlace(const std::string& path) const {
    std::filesystem::rename(fresh(), directory() / "files" / path.substr(1));
}

void NginxServer::restart() {
    process_.reset();
    start();
}

std::vector<NginxServer::Exchange> NginxServer::stop() {
    process_.reset();
    std::vector<Exchange> exchanges;
    std::ifstream log(directory() / "access.log");
    for (std::string line; std::getline(log, line);) {
        std::istringstream fields(line);
        Exchange exchange;
        std::string status;
        std::getline(fields, exchange.request, '|');
        std::getline(fields, status, '|');
        std::getline(fields, exchange.range, '|');
        std::getline(fields, exchange.ifRange, '|');
        std::getline(fields, exchange.connection);
        exchange.status = std::stoi(status);
        exchanges.push_back(exchange);
    }
    return exchanges;
}

// All paths are relative to the directory that nginx is started with.
void NginxServer::writeConfiguration(Setup setup) const {
    using httpclient_testing::TlsKind;
    std::ofstream file(directory() / "nginx.conf");
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
    log_format exchange escape=none '$request|$status|$http_range|$http_if_range|$connection';
    root files;
)";
    std::string tuning;
    if (setup == Setup::FAULTS) {
        // Small send buffers: what a restart cuts off is not on its way already.
        tuning = " sndbuf=64k";
        file << "access_log access.log exchange;\n"
             << "add_header Content-Encoding $arg_coding;\n";
    } else {
        file << "access_log off; sendfile on; tcp_nopush on; keepalive_requests 1000000000;\n"
             << "client_max_body_size 0; lingering_time 1h;\n";
    }
    file << "server { listen " << hostAndPort(plain_.local_endpoint()) << tuning << ";\n"
         << "    location = / { access_log off; return 204; }\n"
         << "    location = /upload { return 204; } }\n"
         << "server { listen " << hostAndPort(tls_.local_endpoint()) << " ssl http2" << tuning
         << ";\n"
         << "    ssl_certificate " << certificates_.certificateFile(TlsKind::GOOD) << ";\n"
         << "    ssl_certificate_key " << certificates_.keyFile(TlsKind::GOOD) << ";\n"
         << "    location /slow/ { alias files/; limit_rate 1000; } }\n}\n";
}

// nginx takes the listening sockets over as it does from a predecessor whose program was replaced.
// The ports so stay ours from the first moment to the last, whether it runs or not.
void NginxServer::start() {
    const int plain = plain_.native_handle();
    const int tls = tls_.native_handle();

    ChildProcess::Command command;
    const std::string errors = (directory() / "error.log").string();
    command.words = {
        "/usr/sbin/nginx",   "-c", (directory() / "nginx.conf").string(), "-e", errors, "-p",
        directory().string()};
    command.environment = {"NGINX=" + std::to_string(plain) + ";" + std::to_string(tls) + ";"};
    command.descriptors = {plain, tls};
    command.output = directory() / "output";
    process_ = std::make_unique<ChildProcess>(command);
    if (answers(plain_.local_endpoint())) return;
    process_.reset();
    throw std::runtime_error("nginx does not start: " + httpclient_core::test::readFile(errors) +
                             httpclient_core::test::readFile(command.output));
}

}  // namespace tavrin::httpclient_curl::test
