#include <utility>

#include "httpclient_core/multipart.h"

namespace tavrin::httpclient_core {

PartHeader::PartHeader(std::string partName) : partName_(std::move(partName)) {}

PartHeader::PartHeader(std::string partName, std::string contentType)
    : partName_(std::move(partName)), contentType_(std::move(contentType)) {}

PartHeader& PartHeader::operator=(const PartHeader& other) { return *this = PartHeader(other); }

std::string PartHeader::getPartName() const { return partName_; }

void PartHeader::setPartName(std::string partName) { partName_ = std::move(partName); }

PartHeader& PartHeader::withPartName(std::string partName) {
    setPartName(std::move(partName));
    return *this;
}

std::string PartHeader::getContentType() const { return contentType_; }

void PartHeader::setContentType(std::string contentType) { contentType_ = std::move(contentType); }

PartHeader& PartHeader::withContentType(std::string contentType) {
    setContentType(std::move(contentType));
    return *this;
}

HttpHeaders PartHeader::getCustomHeaders() const { return customHeaders_; }

void PartHeader::setCustomHeaders(HttpHeaders customHeaders) {
    customHeaders_ = std::move(customHeaders);
}

void PartHeader::addCustomHeaderValue(std::string name, std::string value) {
    customHeaders_.addHeaderValue(name, std::move(value));
}

PartHeader& PartHeader::withCustomHeaderValue(std::string name, std::string value) {
    addCustomHeaderValue(std::move(name), std::move(value));
    return *this;
}

}  // namespace tavrin::httpclient_core
