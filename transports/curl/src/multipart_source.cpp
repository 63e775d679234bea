#include "multipart_source.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "failure.h"
#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::HttpHeaders;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;

namespace {

// 120 random bits: no content holds it but by a chance that never comes.
std::string makeBoundary() {
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::random_device random;
    std::string boundary = "------------------------";
    for (int i = 0; i < 30; ++i) boundary += DIGITS[random() & 15];
    return boundary;
}

// Texts up to this size join their neighbour, so that a body of many parts goes out in few pieces.
// A larger one would be copied for it.
constexpr std::size_t MOST_JOINED_BYTES = 65536;

// What would end the quoted text, or the line, is escaped the way browsers do it.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        switch (c) {
            case '"':
                result += "%22";
                break;
            case '\r':
                result += "%0D";
                break;
            case '\n':
                result += "%0A";
                break;
            case '\0':
                throw refused("the name of a part contains NUL");
            default:
                result += c;
        }
    }
    return result + "\"";
}

}  // namespace

MultipartSource::MultipartSource(const MultipartBody& body, std::string host)
    : host_(std::move(host)), boundary_(makeBoundary()) {
    for (const auto& part : body.getContent()) {
        if (const auto* data = std::get_if<DataPart>(&part)) {
            addHead(data->getHeader(), nullptr);
            add(data->getData());
        } else {
            const auto& file = std::get<FilePart>(part);
            const std::string path = file.getFilePath().toUtf8();
            const std::string name = std::filesystem::path(path).filename().string();
            addHead(file.getHeader(), &name);
            addFile(path);
        }
        add("\r\n");
    }
    add("--" + boundary_ + "--\r\n");
}

void MultipartSource::addHead(const PartHeader& header, const std::string* fileName) {
    const HttpHeaders custom = header.getCustomHeaders();
    std::string head = "--" + boundary_ + "\r\n";
    if (!custom.hasHeader("Content-Disposition")) {
        head += "Content-Disposition: form-data; name=" + quoted(header.getPartName());
        if (fileName != nullptr) head += "; filename=" + quoted(*fileName);
        head += "\r\n";
    }
    const std::string type = header.getContentType();
    if (!type.empty() && !custom.hasHeader(HttpHeaders::CONTENT_TYPE)) {
        checkHeader(HttpHeaders::CONTENT_TYPE, type, "part header");
        head += HttpHeaders::CONTENT_TYPE + ": " + type + "\r\n";
    }
    for (const auto& [name, value] : custom) {
        checkHeader(name, value, "part header");
        head += name;
        head += ": ";
        head += value;
        head += "\r\n";
    }
    add(head + "\r\n");
}

void MultipartSource::add(std::string text) {
    length_ += static_cast<std::int64_t>(text.size());
    if (!segments_.empty()) {
        auto* last = std::get_if<std::string>(&segments_.back());
        if (last != nullptr && last->size() + text.size() <= MOST_JOINED_BYTES) {
            *last += text;
            return;
        }
    }
    segments_.emplace_back(std::move(text));
}

void MultipartSource::addFile(const std::string& path) {
    // The system would take what stands before it for the path of another file.
    if (path.find('\0') != std::string::npos) throw refused("the path of a file contains NUL");
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!error && !std::filesystem::is_regular_file(status))
        fail("file " + path + " is not a regular file");
    const auto size = error ? 0 : std::filesystem::file_size(path, error);
    if (error) fail("file " + path + ": " + error.message());
    if (!std::ifstream(path, std::ios::binary)) fail("file " + path + " cannot be opened");
    segments_.emplace_back(File{path, static_cast<std::int64_t>(size)});
    length_ += static_cast<std::int64_t>(size);
}

void MultipartSource::rewind() {
    segment_ = 0;
    offset_ = 0;
    file_ = std::ifstream();
}

void MultipartSource::nextSegment() {
    ++segment_;
    offset_ = 0;
    file_ = std::ifstream();
}

std::size_t MultipartSource::read(char* to, std::size_t size) {
    while (segment_ < segments_.size()) {
        const Segment& segment = segments_[segment_];
        const std::size_t got = std::holds_alternative<File>(segment)
                                    ? readFile(std::get<File>(segment), to, size)
                                    : readText(std::get<std::string>(segment), to, size);
        if (got > 0) return got;
        nextSegment();
    }
    return 0;
}

std::size_t MultipartSource::readText(const std::string& text, char* to, std::size_t size) {
    const auto offset = static_cast<std::size_t>(offset_);
    const std::size_t count = text.copy(to, size, offset);
    offset_ += static_cast<std::int64_t>(count);
    return count;
}

std::size_t MultipartSource::readFile(const File& file, char* to, std::size_t size) {
    if (!file_.is_open()) {
        file_.open(file.path, std::ios::binary);
        if (!file_) fail("file " + file.path + " cannot be opened");
    }
    const auto wanted = static_cast<std::streamsize>(
        std::min<std::int64_t>(static_cast<std::int64_t>(size), file.size - offset_));
    file_.read(to, wanted);
    const std::streamsize got = file_.gcount();
    if (file_.bad()) fail("file " + file.path + " cannot be read");
    if (got < wanted) fail("file " + file.path + " became shorter while it was sent");
    offset_ += got;
    // Reading tells, where asking would not: a file of /proc has no size.
    if (offset_ == file.size && file_.peek() != std::ifstream::traits_type::eof()) {
        fail("file " + file.path + " became longer while it was sent");
    }
    return static_cast<std::size_t>(got);
}

void MultipartSource::fail(const std::string& reason) const {
    throw failed(host_, "request body", reason);
}

}  // namespace tavrin::httpclient_curl::detail
