#pragma once

namespace tavrin::http_tool {

/// Fills the places of standard descriptors that are closed, before anything else is opened: the
/// next file or socket would take one of them, and be written to as if it were standard output or
/// the place of messages. Reading from such a place and writing to it fails, as on a closed
/// descriptor.
void fillClosedStandardStreams();

}  // namespace tavrin::http_tool
