#include "gzip.h"

#include <zlib.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::size_t PIECE = 1U << 16U;
constexpr std::uint64_t MEBIBYTE = 1U << 20U;
constexpr int GZIP_WINDOW = 15 + 16;
constexpr int MEMORY_LEVEL = 8;

void want(bool success) {
    if (!success) throw std::runtime_error("Cannot compress.");
}

struct EndDeflate {
    void operator()(z_stream* stream) const { deflateEnd(stream); }
};

std::string compress(std::uint64_t size, int level,
                     const std::function<void(std::uint64_t, char*, std::size_t)>& read) {
    z_stream stream{};
    want(deflateInit2(&stream, level, Z_DEFLATED, GZIP_WINDOW, MEMORY_LEVEL, Z_DEFAULT_STRATEGY) ==
         Z_OK);
    const std::unique_ptr<z_stream, EndDeflate> ending(&stream);
    std::string compressed;
    std::string input(PIECE, '\0');
    std::string output(PIECE, '\0');
    std::uint64_t offset = 0;
    for (int state = Z_OK; state != Z_STREAM_END;) {
        if (stream.avail_in == 0 && offset < size) {
            const auto count =
                static_cast<std::size_t>(std::min<std::uint64_t>(PIECE, size - offset));
            read(offset, input.data(), count);
            offset += count;
            stream.next_in = reinterpret_cast<Bytef*>(input.data());
            stream.avail_in = static_cast<uInt>(count);
        }
        stream.next_out = reinterpret_cast<Bytef*>(output.data());
        stream.avail_out = static_cast<uInt>(output.size());
        state = deflate(&stream, offset < size ? Z_NO_FLUSH : Z_FINISH);
        want(state == Z_OK || state == Z_STREAM_END);
        compressed.append(output, 0, output.size() - stream.avail_out);
    }
    return compressed;
}

}  // namespace

std::string gzip(const AnswerBody& body) {
    return compress(
        body.size(), Z_DEFAULT_COMPRESSION,
        [&](std::uint64_t offset, char* to, std::size_t count) { body.read(offset, to, count); });
}

std::string gzipBomb(std::uint64_t mebibytes) {
    return compress(
        mebibytes * MEBIBYTE, Z_BEST_COMPRESSION,
        [](std::uint64_t, char* to, std::size_t count) { std::fill_n(to, count, '\0'); });
}

void damageGzip(std::string& compressed) {
    constexpr std::size_t CHECKSUM_FROM_END = 8;
    compressed[compressed.size() / 2] ^= '\x55';
    compressed[compressed.size() - CHECKSUM_FROM_END] ^= '\x55';
}

}  // namespace tavrin::httpclient_testing::detail
