#pragma once

#include <cstdint>
#include <string>

#include "answer_body.h"

namespace tavrin::httpclient_testing::detail {

// `body` in the gzip format; the same bytes each time. Throws std::runtime_error "Cannot
// compress.".
std::string gzip(const AnswerBody& body);

// So many MiB of zeros in the gzip format.
std::string gzipBomb(std::uint64_t mebibytes);

// Damages compressed bytes in the middle and in the checksum at their end.
void damageGzip(std::string& compressed);

}  // namespace tavrin::httpclient_testing::detail
