// The server of the whole transfers: nginx on loopback, until standard input ends. Prints the URL
// under which it has /100, /10240 and /large, bodies of 100 bytes, of 10 KiB and of as many bytes
// as the argument says, and takes an /upload.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <limits>
#include <string>

#include "support/nginx_server.h"

int main(int argc, char** argv) {
    using tavrin::httpclient_curl::test::NginxServer;
    try {
        NginxServer server(NginxServer::Setup::SPEED);
        for (const std::size_t size : {100, 10240})
            server.serve("/" + std::to_string(size), std::string(size, 'x'));
        server.serveZeros("/large", argc > 1 ? std::stoull(argv[1]) : 0);
        std::cout << server.url("") << std::endl;
        std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    } catch (const std::exception& error) {
        std::cerr << "transfer_server: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
