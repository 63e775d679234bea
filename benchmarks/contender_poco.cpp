// POCO: a session that stays connected, or one in each of 32 threads.

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>

#include <fstream>
#include <iostream>
#include <string>

#include "contender.h"

namespace {

using Poco::StreamCopier;
using Poco::Net::HTTPClientSession;
using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;

void session(const Task& task, std::size_t requests) {
    HTTPClientSession session(task.host, task.port);
    session.setKeepAlive(true);
    for (std::size_t i = 0; i < requests; ++i) {
        HTTPRequest request(HTTPRequest::HTTP_GET, task.path, HTTPMessage::HTTP_1_1);
        session.sendRequest(request);
        HTTPResponse response;
        std::string body;
        StreamCopier::copyToString(session.receiveResponse(response), body);
        expect(body.size() == task.bytes, "A response is short");
    }
}

void sequential(const Task& task) { session(task, task.requests); }

void parallel(const Task& task) {
    inThreads(task.requests, [&](std::size_t share) { session(task, share); });
}

template <typename Take>
void download(const Task& task, Take take) {
    HTTPClientSession session(task.host, task.port);
    HTTPRequest request(HTTPRequest::HTTP_GET, task.path, HTTPMessage::HTTP_1_1);
    session.sendRequest(request);
    HTTPResponse response;
    expect(static_cast<std::uint64_t>(take(session.receiveResponse(response))) == task.bytes,
           "The download is short");
}

void discard(const Task& task) {
    Poco::NullOutputStream nowhere;
    download(task, [&](std::istream& body) { return StreamCopier::copyStream64(body, nowhere); });
}

void toFile(const Task& task) {
    std::ofstream file(task.file, std::ios::binary);
    download(task, [&](std::istream& body) { return StreamCopier::copyStream64(body, file); });
}

void intoMemory(const Task& task) {
    std::string whole;
    download(task, [&](std::istream& body) { return StreamCopier::copyToString64(body, whole); });
}

void upload(const Task& task) {
    HTTPClientSession session(task.host, task.port);
    HTTPRequest request(HTTPRequest::HTTP_PUT, task.path, HTTPMessage::HTTP_1_1);
    request.setContentLength64(static_cast<Poco::Int64>(task.bytes));
    std::ifstream file(task.file, std::ios::binary);
    StreamCopier::copyStream64(file, session.sendRequest(request));
    HTTPResponse response;
    session.receiveResponse(response);
    expect(response.getStatus() == HTTPResponse::HTTP_NO_CONTENT, "The upload failed");
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
