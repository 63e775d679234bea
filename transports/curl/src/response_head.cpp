#include "response_head.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// More of them serve nobody, and each is free to the server.
constexpr int MOST_INTERIM_RESPONSES = 2000;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::string_view withoutLineEnd(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
    return line;
}

bool contains(std::string_view text, char c) { return text.find(c) != std::string_view::npos; }

// A CR inside a line is no line end, but must not become one where the text goes next.
void blankOutCr(std::string& text) { std::replace(text.begin(), text.end(), '\r', ' '); }

// Whether it is the rest of the line before it.
bool isFolded(std::string_view line) { return line.front() == ' ' || line.front() == '\t'; }

// What libcurl reads too, and less kindly: it knows no blank before the colon and no second line.
bool tellsWhereTheBodyEnds(std::string_view name) {
    for (const char* known : {"Content-Length", "Transfer-Encoding", "Content-Encoding"}) {
        if (equalIgnoringCase(name, known)) return true;
    }
    return false;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

void ResponseHead::restart() {
    started_ = complete_ = checked_ = false;
    interims_ = 0;
}

void ResponseHead::begin(std::string_view line) {
    headers_ = httpclient_core::HttpHeaders();
    name_.clear();
    bytes_ = static_cast<std::int64_t>(line.size());
    count_ = 0;
    const std::string_view text = trimmed(line);
    const std::size_t blank = text.find(' ');
    if (text.substr(0, 5) != "HTTP/" || blank == std::string_view::npos) {
        throw MalformedHead{"it does not begin with a status line"};
    }
    const std::string_view rest = text.substr(blank + 1);
    if (rest.size() < 3 || !std::all_of(rest.begin(), rest.begin() + 3, isDigit) ||
        rest[0] == '0' || (rest.size() > 3 && rest[3] != ' ')) {
        throw MalformedHead{"its status code is no number of three digits"};
    }
    code_ = (rest[0] - '0') * 100 + (rest[1] - '0') * 10 + (rest[2] - '0');
    reason_ = trimmed(rest.substr(3));
    blankOutCr(reason_);
    started_ = true;
}

void ResponseHead::check(std::string_view piece) {
    const bool begins = !std::exchange(checked_, true);
    if (begins && started_ && name_.empty() && isFolded(piece))
        throw MalformedHead{"its first field begins with a blank"};
}

ResponseHead::Stage ResponseHead::add(std::string_view line) {
    checked_ = false;
    if (contains(line, '\0')) throw MalformedHead{"its head contains NUL"};
    if (!started_ && !complete_) {
        begin(line);
        return Stage::OPEN;
    }
    bytes_ += static_cast<std::int64_t>(line.size());
    if (limits_.bytes > 0 && bytes_ > limits_.bytes) {
        throw MalformedHead{
            "its head has more than maxHeaderBytes = " + std::to_string(limits_.bytes) + " bytes"};
    }
    if (complete_) return Stage::OPEN;  // a trailer, which counts but is not kept
    if (const std::string_view text = withoutLineEnd(line); !text.empty()) {
        addField(text);
        return Stage::OPEN;
    }
    flushField();
    started_ = false;
    if (code_ < 200) {
        if (code_ == 101) throw MalformedHead{"it switches protocols unasked"};
        if (++interims_ > MOST_INTERIM_RESPONSES) {
            throw MalformedHead{"more than " + std::to_string(MOST_INTERIM_RESPONSES) +
                                " interim responses"};
        }
        return Stage::INTERIM;
    }
    complete_ = true;
    return Stage::COMPLETE;
}

void ResponseHead::addField(std::string_view line) {
    if (isFolded(line)) {
        if (tellsWhereTheBodyEnds(name_)) throw MalformedHead{"its " + name_ + " is folded"};
        std::string more(trimmed(line));
        blankOutCr(more);
        if (!value_.empty() && !more.empty()) value_ += ' ';
        value_ += more;
        return;
    }
    flushField();
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) throw MalformedHead{"a header line has no colon"};
    if (limits_.count > 0 && ++count_ > limits_.count) {
        throw MalformedHead{"it has more than maxHeaderCount = " + std::to_string(limits_.count) +
                            " header fields"};
    }
    name_ = trimmed(line.substr(0, colon));
    if (name_.size() != colon && tellsWhereTheBodyEnds(name_))
        throw MalformedHead{"a blank stands behind the name of its " + name_};
    value_ = trimmed(line.substr(colon + 1));
    if (!contains(line, '\r')) return;
    if (equalIgnoringCase(name_, "Location") && contains(value_, '\r'))
        throw MalformedHead{"its Location contains CR"};
    blankOutCr(name_);
    blankOutCr(value_);
}

void ResponseHead::flushField() {
    if (!name_.empty()) headers_.addHeaderValue(name_, std::move(value_));
    name_.clear();
}

const std::string* ResponseHead::value(std::string_view name) const {
    for (const auto& field : headers_) {
        if (equalIgnoringCase(field.first, name)) return &field.second;
    }
    return nullptr;
}

std::string ResponseHead::allValues(std::string_view name) const {
    std::string all;
    for (const auto& [known, value] : headers_) {
        if (!equalIgnoringCase(known, name)) continue;
        if (!all.empty()) all += ',';
        all += value;
    }
    return all;
}

std::int64_t ResponseHead::contentLength() const {
    std::int64_t length = -1;
    for (const auto& [name, value] : headers_) {
        if (!equalIgnoringCase(name, "Content-Length")) continue;
        std::string_view rest = value;
        std::size_t comma = 0;
        do {
            comma = rest.find(',');
            const std::string_view text = trimmed(rest.substr(0, comma));
            std::int64_t number = -1;
            const auto [stop, error] =
                std::from_chars(text.data(), text.data() + text.size(), number);
            if (error != std::errc() || stop != text.data() + text.size() ||
                !isDigit(text.front())) {
                throw MalformedHead{"its Content-Length is no number"};
            }
            if (length >= 0 && number != length)
                throw MalformedHead{"it has two Content-Lengths that differ"};
            length = number;
            if (comma != std::string_view::npos) rest.remove_prefix(comma + 1);
        } while (comma != std::string_view::npos);
    }
    return length;
}

bool ResponseHead::isChunked() const {
    const std::string* coding = nullptr;
    for (const auto& [name, value] : headers_) {
        if (!equalIgnoringCase(name, "Transfer-Encoding")) continue;
        const bool known =
            equalIgnoringCase(value, "chunked") || equalIgnoringCase(value, "identity");
        if (!known || coding != nullptr)
            throw MalformedHead{"its Transfer-Encoding is not chunked alone"};
        coding = &value;
    }
    return coding != nullptr && equalIgnoringCase(*coding, "chunked");
}

bool ResponseHead::isEncoded() const {
    return std::any_of(headers_.begin(), headers_.end(), [](const auto& field) {
        return equalIgnoringCase(field.first, "Content-Encoding") && !field.second.empty() &&
               !equalIgnoringCase(field.second, "identity");
    });
}

}  // namespace tavrin::httpclient_curl::detail
