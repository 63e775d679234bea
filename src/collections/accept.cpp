#include <utility>

#include "httpclient_core/headers.h"
#include "httpclient_core/media_types.h"

namespace tavrin::httpclient_core {

Accept::Accept(std::vector<ContentType> types) : types_(std::move(types)) {}

Accept& Accept::operator=(const Accept& other) { return *this = Accept(other); }

Accept Accept::parse(const std::string& text) {
    std::vector<ContentType> types;
    HttpHeaders::splitElements(
        text, [&](const std::string& element) { types.push_back(ContentType::parse(element)); },
        ",", true);
    return Accept(std::move(types));
}

std::vector<ContentType> Accept::getTypes() const { return types_; }

std::size_t Accept::size() const { return types_.size(); }

const ContentType& Accept::operator[](std::size_t index) const { return types_[index]; }

const ContentType& Accept::at(std::size_t index) const { return types_.at(index); }

Accept::const_iterator Accept::begin() const { return types_.begin(); }

Accept::const_iterator Accept::end() const { return types_.end(); }

bool Accept::operator==(const Accept& other) const { return types_ == other.types_; }

std::string Accept::toString() const {
    std::string text;
    for (auto type = begin(); type != end(); ++type) {
        if (type != begin()) text += ", ";
        text += type->toString();
    }
    return text;
}

}  // namespace tavrin::httpclient_core
