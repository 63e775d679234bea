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

}  // namespace tavrin::http_tool
