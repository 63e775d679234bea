#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>
#include <string>

namespace tavrin::http_tool {

/// Shows the library's diagnostic records, a text for each of their lines, for as long as the
/// object lives.
///
/// `write` may be called from any thread, one call at a time. One object at a time.
class LogOutput {
public:
    explicit LogOutput(std::function<void(const std::string&)> write);
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;
    ~LogOutput();

private:
    class Sink;
    boost::shared_ptr<Sink> sink_;
};

}  // namespace tavrin::http_tool
