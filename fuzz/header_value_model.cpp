#include "header_value_model.h"

namespace model {
namespace {

bool isOneOf(char c, const std::string& characters) {
    return characters.find(c) != std::string::npos;
}

}  // namespace

bool operator==(const MediaType& a, const MediaType& b) {
    return a.type == b.type && a.parameters == b.parameters;
}

std::vector<std::string> pieces(const std::string& text, const std::string& separators) {
    std::vector<std::string> result(1);
    for (const char c : text) {
        if (isOneOf(c, separators)) {
            result.emplace_back();
        } else {
            result.back() += c;
        }
    }
    return result;
}

std::string trimmed(std::string text) {
    const std::string blanks = " \n\r\t";
    while (!text.empty() && isOneOf(text.front(), blanks)) text.erase(0, 1);
    while (!text.empty() && isOneOf(text.back(), blanks)) text.pop_back();
    return text;
}

Pair parameter(const std::string& text, const std::string& delimiter) {
    const std::string whole = trimmed(text);
    if (whole.empty()) return {};
    for (std::size_t i = 0; i + delimiter.size() <= whole.size(); ++i) {
        if (whole.compare(i, delimiter.size(), delimiter) != 0) continue;
        // One character on, however long the delimiter is.
        return {trimmed(whole.substr(0, i)), trimmed(whole.substr(i + 1))};
    }
    throw std::runtime_error("Missing delimiter <" + delimiter + "> when parsing : <" + text + ">");
}

MediaType mediaType(const std::string& text, const std::string& separators) {
    MediaType result;
    for (const std::string& piece : pieces(text, separators)) {
        if (result.type.empty()) {
            result.type = piece;
        } else {
            result.parameters.push_back(parameter(piece, "="));
        }
    }
    return result;
}

MediaType contentType(const std::string& text) {
    MediaType result = mediaType(text, ";");
    for (const auto& [name, value] : result.parameters) {
        if (value.empty()) throw std::runtime_error("Missing parameter value for <" + name + ">");
    }
    return result;
}

std::vector<MediaType> accept(const std::string& text) {
    std::vector<MediaType> result;
    for (const std::string& piece : pieces(text, ",")) {
        if (const std::string element = trimmed(piece); !element.empty())
            result.push_back(contentType(element));
    }
    return result;
}

std::vector<Pair> cookies(const std::string& text) {
    std::vector<Pair> result;
    for (const std::string& piece : pieces(text, ";")) {
        if (const std::string cookie = trimmed(piece); !cookie.empty())
            result.push_back(parameter(cookie, "="));
    }
    return result;
}

}  // namespace model
