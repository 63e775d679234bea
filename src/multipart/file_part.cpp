#include <stdexcept>
#include <utility>

#include "httpclient_core/multipart.h"

namespace tavrin::httpclient_core {
namespace {

FilePath notEmpty(FilePath filePath) {
    if (filePath.empty()) throw std::logic_error("Empty file path.");
    return filePath;
}

}  // namespace

FilePart::FilePart(FilePath filePath) : FilePart(PartHeader(""), std::move(filePath)) {}

FilePart::FilePart(PartHeader header, FilePath filePath)
    : header_(std::move(header)), filePath_(notEmpty(std::move(filePath))) {}

FilePart& FilePart::operator=(const FilePart& other) { return *this = FilePart(other); }

PartHeader FilePart::getHeader() const { return header_; }

void FilePart::setHeader(PartHeader header) { header_ = std::move(header); }

FilePart& FilePart::withHeader(PartHeader header) {
    setHeader(std::move(header));
    return *this;
}

void FilePart::setPartName(std::string partName) { header_.setPartName(std::move(partName)); }

FilePart& FilePart::withPartName(std::string partName) {
    setPartName(std::move(partName));
    return *this;
}

void FilePart::setContentType(std::string contentType) {
    header_.setContentType(std::move(contentType));
}

FilePart& FilePart::withContentType(std::string contentType) {
    setContentType(std::move(contentType));
    return *this;
}

void FilePart::addCustomHeaderValue(std::string name, std::string value) {
    header_.addCustomHeaderValue(std::move(name), std::move(value));
}

FilePart& FilePart::withCustomHeaderValue(std::string name, std::string value) {
    addCustomHeaderValue(std::move(name), std::move(value));
    return *this;
}

void FilePart::setCustomHeaders(HttpHeaders customHeaders) {
    header_.setCustomHeaders(std::move(customHeaders));
}

FilePath FilePart::getFilePath() const { return filePath_; }

void FilePart::setFilePath(FilePath filePath) { filePath_ = notEmpty(std::move(filePath)); }

}  // namespace tavrin::httpclient_core
