#include "failures.h"

#include <system_error>

namespace tavrin::http_tool {

WriteFailure writeFailure(const std::string& action, int errorNumber) {
    return WriteFailure("cannot " + action + ": " + std::generic_category().message(errorNumber));
}

}  // namespace tavrin::http_tool
