#pragma once

#include <httpclient_core/headers.h>

#include <cstdint>
#include <optional>
#include <string>

#include "checksum.h"

namespace tavrin::http_tool {

/// What identifies a version of a resource so surely that bytes of two answers may be joined.
struct Representation {
    std::string validator;  ///< strong: an ETag without "W/", or a Last-Modified that is old enough
    std::int64_t length = 0;                 ///< complete length in bytes
    std::optional<ExpectedChecksum> digest;  ///< what the server announced, if it did

    bool operator==(const Representation& other) const {
        return validator == other.validator && length == other.length && digest == other.digest;
    }
};

/// Identifies the body of a 200 with these headers; nothing if it cannot be continued later: no
/// strong validator (RFC 9110, 8.8.2.2 and 8.8.3), no length, or a content coding.
std::optional<Representation> representationOf(const httpclient_core::HttpHeaders& headers);

/// Whether the body of a 206 with these headers is the rest of `representation` from `offset` on:
/// exactly that range, the same validator, one part, no content coding, and no other digest.
bool continues(const httpclient_core::HttpHeaders& headers, const Representation& representation,
               std::int64_t offset);

/// SHA-512, or else SHA-256, of the whole representation that Repr-Digest (RFC 9530) tells, if it
/// tells one. It stands on a 206 too.
std::optional<ExpectedChecksum> announcedDigest(const httpclient_core::HttpHeaders& headers);

/// Whether the body is coded, and was not decoded on its way here.
bool hasCoding(const httpclient_core::HttpHeaders& headers);

/// Value of Content-Length if it is a plain number, else nothing.
std::optional<std::int64_t> contentLength(const httpclient_core::HttpHeaders& headers);

}  // namespace tavrin::http_tool
