#include <string_view>
#include <utility>

#include "collections/header_value_tokenizer.h"
#include "collections/trim.h"
#include "httpclient_core/media_types.h"

namespace tavrin::httpclient_core {

Accept::Accept(std::vector<ContentType> types) : types_(std::move(types)) {}

Accept& Accept::operator=(const Accept& other) { return *this = Accept(other); }

Accept Accept::parse(const std::string& text) {
    // Room for what browsers send: grown from one on, the list takes an eighth longer to read.
    constexpr std::size_t TYPICAL_SIZE = 4;

    std::vector<ContentType> types;
    detail::forEachPiece(text, ",", [&](std::string_view piece) {
        const auto element = detail::trimmed(piece);
        if (element.empty()) return;
        if (types.empty()) types.reserve(TYPICAL_SIZE);
        types.push_back(ContentType::parsed(element));
    });
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
        type->appendTo(text);
    }
    return text;
}

}  // namespace tavrin::httpclient_core
