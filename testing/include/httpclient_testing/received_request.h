#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "httpclient_core/headers.h"
#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// One request as a FaultServer received it, and what it was answered with.
///
/// A plain value, a copy of the server's own record. The record appears as soon as the head was
/// read, and its body fields grow while the body arrives.
struct HTTPCLIENT_TESTING_EXPORT ReceivedRequest {
    /// Bytes of a body that `body` keeps.
    static constexpr std::size_t KEPT_BODY_BYTES = 65536;

    /// First and second word of the request line; a target keeps its query, and its origin if it
    /// had one.
    std::string method;
    std::string target;
    /// The header lines verbatim and in order, without the CR LF at their end.
    std::vector<std::string> headerLines;
    /// Everything from the first byte to the empty line, verbatim.
    std::string head;

    /// The first KEPT_BODY_BYTES of the decoded body, its whole length in bytes, its SHA-256 as
    /// hexadecimal digits (set when the body is complete), and whether it came to its end.
    std::string body;
    std::uint64_t bodySize = 0;
    std::string bodySha256;
    bool bodyComplete = false;

    /// Which connection it came on, counted from 1 in the order of their being accepted, and which
    /// request on that connection it was, counted from 1.
    std::size_t connection = 0;
    std::size_t numberOnConnection = 0;
    bool overTls = false;

    /// The step of the plan it was answered with: its number, from 0, and its text. The last step
    /// of a plan repeats, so its number may come more than once.
    std::size_t step = 0;
    std::string stepText;
    /// Status code of the final answer, 0 when there was none; bytes of that answer's header block,
    /// from the status line to the empty line. Both stand when the answer is about to be sent, and
    /// stay 0 before.
    int answerStatus = 0;
    std::size_t answerHeadSize = 0;

    /// The URL that was asked for: the target itself in absolute form, or of a CONNECT; else
    /// scheme, the value of Host and the target. Without a Host, just the target. Linear.
    std::string url() const;

    /// The header lines as fields, in their order; lines without a colon are left out. Linear.
    httpclient_core::HttpHeaders headers() const;

    /// The value of the first header line with this name, without the blanks around it; nothing if
    /// there is none. Names compare without regard to case. Linear in the number of header lines.
    std::optional<std::string> header(const std::string& name) const;
    /// How many header lines have this name. Linear in the number of header lines.
    std::size_t countHeader(const std::string& name) const;
};

}  // namespace tavrin::httpclient_testing
