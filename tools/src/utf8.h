#pragma once

namespace tavrin::http_tool {

/// Whether the byte is one of a character's in UTF-8, but not its first.
inline bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace tavrin::http_tool
