#pragma once

#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// strace, attached to every thread of this process for as long as the object lives.
class SystemCallTrace {
public:
    /// Traces the system calls that `expression` chooses, as strace's option -e has it; one with
    /// "inject=" makes them fail. When the constructor returns, this process is being traced.
    explicit SystemCallTrace(const std::string& expression);

    /// False if this process may not be traced here, or there is no strace.
    bool attached() const { return attached_; }

    /// Lets go of the process, and returns a line for each call.
    std::string stop();

private:
    httpclient_core::test::TemporaryDirectory directory_;
    std::unique_ptr<ChildProcess> strace_;
    bool attached_ = false;
};

}  // namespace tavrin::httpclient_curl::test
