#pragma once

#include <httpclient_core/headers.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tavrin::http_tool {

/// What identifies a version of a resource so surely that bytes of two answers may be joined.
struct Representation {
    std::string validator;  ///< strong: an ETag without "W/", or a Last-Modified that is old enough
    std::int64_t length = 0;  ///< complete length in bytes
    std::string sha256;       ///< hexadecimal; "" if the server announced none

    bool operator==(const Representation& other) const {
        return validator == other.validator && length == other.length && sha256 == other.sha256;
    }
};

/// Identifies the body of a 200 with these headers; nothing if it cannot be continued later: no
/// strong validator (RFC 9110, 8.8.2.2 and 8.8.3), no length, or a content coding.
std::optional<Representation> representationOf(const httpclient_core::HttpHeaders& headers);

/// Whether the body of a 206 with these headers is the rest of `representation` from `offset` on:
/// exactly that range, the same validator, one part, no content coding, and no other SHA-256.
bool continues(const httpclient_core::HttpHeaders& headers, const Representation& representation,
               std::int64_t offset);

/// SHA-256 of the whole representation that Repr-Digest (RFC 9530) tells, in hexadecimal digits;
/// "" if it tells none. It stands on a 206 too.
std::string announcedSha256(const httpclient_core::HttpHeaders& headers);

/// Value of Content-Length if it is a plain number, else nothing.
std::optional<std::int64_t> contentLength(const httpclient_core::HttpHeaders& headers);

}  // namespace tavrin::http_tool
