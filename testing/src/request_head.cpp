#include "request_head.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "header_line.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::string_view LINE_END = "\r\n";

bool isTokenCharacter(char c) {
    constexpr std::string_view OTHERS = "!#$%&'*+-.^_`|~";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           OTHERS.find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool hasBareLineEnd(std::string_view line) {
    return line.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

bool isWellFormedHeader(std::string_view line) {
    const auto colon = line.find(':');
    return colon != std::string_view::npos && isToken(line.substr(0, colon)) &&
           !hasBareLineEnd(line);
}

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (auto end = text.find(LINE_END); end != 0 && end != std::string_view::npos;
         end = text.find(LINE_END)) {
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end + LINE_END.size());
    }
    return lines;
}

// False if the line does not have its three words.
bool readRequestLine(RequestHead& head, const std::string& line) {
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == std::string::npos || first == last) return false;
    head.method = line.substr(0, first);
    head.target = line.substr(first + 1, last - first - 1);
    head.version = line.substr(last + 1);
    const bool known = head.version == "HTTP/1.1" || head.version == "HTTP/1.0";
    return isToken(head.method) && known && head.target.find(' ') == std::string::npos &&
           !head.target.empty() && !hasBareLineEnd(line);
}

std::vector<std::string> valuesOf(const RequestHead& head, std::string_view name) {
    std::vector<std::string> values;
    for (const auto& line : head.headerLines) {
        if (auto value = valueIfNamed(line, name)) values.push_back(std::move(*value));
    }
    return values;
}

// False if the length is told in two ways, or in none that makes sense (RFC 9112, 6.3).
bool readBodyFraming(RequestHead& head) {
    const auto codings = valuesOf(head, "Transfer-Encoding");
    const auto lengths = valuesOf(head, "Content-Length");
    if (!codings.empty()) {
        head.body.chunked = codings.size() == 1 && sameName(codings[0], "chunked");
        return head.body.chunked && lengths.empty();
    }
    if (lengths.empty()) return true;
    const std::string& digits = lengths[0];
    const auto [stop, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), head.body.length);
    return lengths.size() == 1 && error == std::errc() && stop == digits.data() + digits.size();
}

}  // namespace

std::optional<std::string> RequestHead::header(const char* name) const {
    for (const auto& line : headerLines) {
        if (auto value = valueIfNamed(line, name)) return value;
    }
    return std::nullopt;
}

std::string RequestHead::path() const {
    std::string path = target;
    if (const auto scheme = path.find("://"); path[0] != '/' && scheme != std::string::npos) {
        path.erase(0, std::min(path.find('/', scheme + 3), path.size()));
    }
    path.erase(std::min(path.find('?'), path.size()));
    return path.empty() ? "/" : path;
}

bool RequestHead::wantsClose() const {
    return version == "HTTP/1.0" || sameName(header("Connection").value_or(""), "close");
}

bool RequestHead::expectsContinue() const {
    return sameName(header("Expect").value_or(""), "100-continue");
}

RequestHead parseRequestHead(const std::string& text) {
    RequestHead head;
    auto lines = linesOf(text);
    if (lines.empty()) {
        head.malformed = true;
        return head;
    }
    const bool lineIsGood = readRequestLine(head, lines.front());
    head.headerLines.assign(std::make_move_iterator(lines.begin() + 1),
                            std::make_move_iterator(lines.end()));
    const bool headersAreGood =
        std::all_of(head.headerLines.begin(), head.headerLines.end(), isWellFormedHeader);
    head.malformed = !readBodyFraming(head) || !lineIsGood || !headersAreGood;
    return head;
}

}  // namespace tavrin::httpclient_testing::detail
