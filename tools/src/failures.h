#pragma once

#include <stdexcept>
#include <string>

namespace tavrin::http_tool {

/// What was received could not be put where it belongs; the text says where and why.
class WriteFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "cannot ACTION: REASON" for an error number of the system.
WriteFailure writeFailure(const std::string& action, int errorNumber);

/// A file that is to be sent cannot be read.
class ReadFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A body would have to begin anew where what was written of it cannot be taken back.
class StartOverFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The answer is an error, and was asked to count as a failure.
class HttpErrorFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The body's digest is not the expected one.
class ChecksumFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace tavrin::http_tool
