#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_line.h"

namespace tavrin::http_tool {

/// Where one URL goes.
struct Assignment {
    std::string url;
    std::string output;        ///< a path, or "-" for standard output
    bool serverNames = false;  ///< its Content-Disposition may say what the file is called
    std::string label;         ///< what its line of progress is called
    std::optional<ExpectedChecksum> checksum;
};

/// Where each URL of the command line goes, in their order.
/// @throws WriteFailure if a URL does not tell how to name its file, or if two would write to the
/// same one.
std::vector<Assignment> assignmentsFor(const CommandLine& line);

}  // namespace tavrin::http_tool
