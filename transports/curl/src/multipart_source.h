#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <variant>
#include <vector>

#include "httpclient_core/multipart.h"
#include "request_body.h"

namespace tavrin::httpclient_curl::detail {

// A multipart body as multipart/form-data. Texts are held, files are read piece by piece while they
// are sent; each must have the same size then as when the body was made, since the length was
// announced.
class MultipartSource final : public BodySource {
public:
    // Throws HttpRequestFailedException for a name or header that cannot be written and for a file
    // that is not there to be read.
    MultipartSource(const httpclient_core::MultipartBody& body, std::string host);

    std::string contentType() const { return "multipart/form-data; boundary=" + boundary_; }

    std::int64_t length() const override { return length_; }
    void rewind() override;
    std::size_t read(char* to, std::size_t size) override;

private:
    struct File {
        std::string path;
        std::int64_t size;
    };
    using Segment = std::variant<std::string, File>;

    void add(std::string text);
    void addFile(const std::string& path);
    void addHead(const httpclient_core::PartHeader& header, const std::string* fileName);
    std::size_t readText(const std::string& text, char* to, std::size_t size);
    std::size_t readFile(const File& file, char* to, std::size_t size);
    void nextSegment();
    [[noreturn]] void fail(const std::string& reason) const;

    const std::string host_;
    std::string boundary_;
    std::vector<Segment> segments_;
    std::int64_t length_ = 0;
    std::size_t segment_ = 0;
    std::int64_t offset_ = 0;
    std::ifstream file_;
};

}  // namespace tavrin::httpclient_curl::detail
