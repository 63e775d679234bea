#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// What the parsers of header values are to make of a text, told character by character without
/// regard to speed. Each function throws what its parser throws.
namespace model {

using Pair = std::pair<std::string, std::string>;

struct MediaType {
    std::string type;
    std::vector<Pair> parameters;
};

bool operator==(const MediaType& a, const MediaType& b);

/// What stands between the characters that are separators: one piece more than there are of these.
std::vector<std::string> pieces(const std::string& text, const std::string& separators);

/// The text without the blanks that parsers pass over at either end.
std::string trimmed(std::string text);

/// Name and value, one on each side of the delimiter's first place.
Pair parameter(const std::string& text, const std::string& delimiter);

/// The first piece that is not empty, and the parameters behind it.
MediaType mediaType(const std::string& text, const std::string& separators);

/// The same of a text in which every parameter must have a value.
MediaType contentType(const std::string& text);
std::vector<MediaType> accept(const std::string& text);
std::vector<Pair> cookies(const std::string& text);

/// What parsing comes to, to be compared: a value, or the text of the refusal.
template <typename Value>
struct Outcome {
    std::optional<Value> value;
    std::string refusal;
};

template <typename Value>
bool operator==(const Outcome<Value>& a, const Outcome<Value>& b) {
    return a.value == b.value && a.refusal == b.refusal;
}

template <typename Parse>
auto outcomeOf(Parse parse) -> Outcome<decltype(parse())> {
    try {
        return {parse(), ""};
    } catch (const std::runtime_error& error) {
        return {std::nullopt, error.what()};
    }
}

/// The entries of one of the library's collections.
template <typename Collection>
std::vector<Pair> entriesOf(const Collection& collection) {
    return {collection.begin(), collection.end()};
}

}  // namespace model
