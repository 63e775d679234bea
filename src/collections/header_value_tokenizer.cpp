#include <stdexcept>
#include <string_view>

#include "client/log.h"
#include "collections/trim.h"
#include "httpclient_core/headers.h"

namespace tavrin::httpclient_core {
namespace {

// Hands each piece of `text` between separators to `take`, as it stands.
template <typename Take>
void forEachPiece(std::string_view text, std::string_view separators, Take take) {
    std::size_t begin = 0;
    for (;;) {
        const auto end = text.find_first_of(separators, begin);
        if (end == std::string_view::npos) break;
        take(text.substr(begin, end - begin));
        begin = end + 1;
    }
    take(text.substr(begin));
}

}  // namespace

void HttpHeaders::splitElements(const std::string& text,
                                const std::function<void(const std::string&)>& callback,
                                const std::string& separators, bool skipEmpty) {
    const auto deliver = callback;
    forEachPiece(text, separators, [&](std::string_view piece) {
        const auto element = detail::trimmed(piece);
        if (!skipEmpty || !element.empty()) deliver(std::string(element));
    });
}

std::pair<std::string, std::string> HttpHeaders::splitParameter(const std::string& text,
                                                                const std::string& delimiter) {
    const auto whole = detail::trimmed(text);
    if (whole.empty()) return {};

    const auto position = whole.find(delimiter);
    if (position == std::string_view::npos) {
        throw detail::logged(LOG_DECISION, std::runtime_error("Missing delimiter <" + delimiter +
                                                              "> when parsing : <" + text + ">"));
    }
    // The value begins one character on, however long the delimiter is, on purpose.
    return {std::string(detail::trimmed(whole.substr(0, position))),
            std::string(detail::trimmed(whole.substr(position + 1)))};
}

std::pair<std::string, NameValueCollection> HttpHeaders::splitParameters(
    const std::string& text, const std::string& separators) {
    std::pair<std::string, NameValueCollection> result;
    auto& [leading, parameters] = result;
    // A structured binding cannot be captured before C++20, references to it can.
    forEachPiece(text, separators,
                 [&leadingText = leading, &parameterList = parameters](std::string_view piece) {
                     if (leadingText.empty()) {
                         leadingText = piece;
                     } else {
                         parameterList.add(splitParameter(std::string(piece), "="));
                     }
                 });
    return result;
}

}  // namespace tavrin::httpclient_core
