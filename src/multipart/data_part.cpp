#include <utility>

#include "httpclient_core/multipart.h"

namespace tavrin::httpclient_core {

DataPart::DataPart(PartHeader header) : header_(std::move(header)) {}

DataPart::DataPart(std::string data) : header_(std::string()), data_(std::move(data)) {}

DataPart::DataPart(PartHeader header, std::string data)
    : header_(std::move(header)), data_(std::move(data)) {}

DataPart& DataPart::operator=(const DataPart& other) { return *this = DataPart(other); }

PartHeader DataPart::getHeader() const { return header_; }

void DataPart::setHeader(PartHeader header) { header_ = std::move(header); }

DataPart& DataPart::withHeader(PartHeader header) {
    setHeader(std::move(header));
    return *this;
}

void DataPart::setPartName(std::string partName) { header_.setPartName(std::move(partName)); }

DataPart& DataPart::withPartName(std::string partName) {
    setPartName(std::move(partName));
    return *this;
}

void DataPart::setContentType(std::string contentType) {
    header_.setContentType(std::move(contentType));
}

DataPart& DataPart::withContentType(std::string contentType) {
    setContentType(std::move(contentType));
    return *this;
}

void DataPart::addCustomHeaderValue(std::string name, std::string value) {
    header_.addCustomHeaderValue(std::move(name), std::move(value));
}

DataPart& DataPart::withCustomHeaderValue(std::string name, std::string value) {
    addCustomHeaderValue(std::move(name), std::move(value));
    return *this;
}

void DataPart::setCustomHeaders(HttpHeaders customHeaders) {
    header_.setCustomHeaders(std::move(customHeaders));
}

std::string DataPart::getData() const { return data_; }

void DataPart::setData(std::string data) { data_ = std::move(data); }

DataPart& DataPart::withData(std::string data) {
    setData(std::move(data));
    return *this;
}

}  // namespace tavrin::httpclient_core
