#pragma once

namespace tavrin::http_tool {

/// What --help prints.
const char* helpText();

}  // namespace tavrin::http_tool
