#pragma once

#include <string>
#include <utility>

#include "httpclient_testing/fault_server.h"
#include "support/raw_client.h"

namespace tavrin::httpclient_testing {

// What a SmallServer has at every path: few enough bytes to meet each of them.
inline constexpr ServedContent SMALL{7, 2000};

// A plain server of SMALL.
class SmallServer : public FaultServer {
public:
    explicit SmallServer(FaultPlan plan = {})
        : FaultServer(FaultServerOptions{SMALL, std::move(plan), {}, {}}) {}

    // One request on a connection of its own, and everything until the server ends.
    RawAnswer ask(const std::string& request = get("/")) const {
        return takeApart(exchange(port(), request));
    }
    // The same for an answer after which the connection stays open.
    RawAnswer askKeeping(const std::string& request = get("/")) const {
        RawClient client(port());
        client.send(request);
        return client.receiveAnswer();
    }
};

}  // namespace tavrin::httpclient_testing
