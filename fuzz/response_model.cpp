#include "response_model.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace {

const std::string LINE_END = "\r\n";

// The text up to the next line end, which is taken away with it; nothing if there is none.
std::optional<std::string> takeLine(std::string& rest) {
    const auto end = rest.find(LINE_END);
    if (end == std::string::npos) return std::nullopt;
    const std::string line = rest.substr(0, end);
    rest.erase(0, end + LINE_END.size());
    return line;
}

bool consistsOf(const std::string& text, const std::string& characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::optional<int> codeIn(const std::string& statusLine) {
    const bool known = statusLine.rfind("HTTP/1.1 ", 0) == 0 && isPrintable(statusLine);
    const std::string code = known ? statusLine.substr(9, 3) : "";
    const bool ends = statusLine.size() == 12 || (statusLine.size() > 12 && statusLine[12] == ' ');
    if (code.size() != 3 || !consistsOf(code, "0123456789") || !ends) return std::nullopt;
    return std::stoi(code);
}

std::string withoutBlanks(const std::string& text) {
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

ModelledResponse cutOff() { return {ModelledResponse::CUT_OFF, 0, "", "", ""}; }

// Reads the body behind that head. The last chunk and what is behind it end it; bytes beyond are
// not its own.
ModelledResponse chunked(ModelledResponse head, std::string rest) {
    for (;;) {
        const auto line = takeLine(rest);
        if (!line) {
            // What might become a line when more comes, or never could.
            const bool begun = rest.empty() || (rest.size() < 7 && consistsOf(rest, "0123456789"));
            return begun ? cutOff() : ModelledResponse();
        }
        if (!consistsOf(*line, "0123456789abcdefABCDEF") || line->size() > 6) return {};
        const std::size_t size = std::stoul(*line, nullptr, 16);
        if (size == 0) break;
        if (rest.size() < size) return cutOff();
        head.body += rest.substr(0, size);
        rest.erase(0, size);
        if (rest.empty() || rest == "\r") return cutOff();
        if (rest.rfind(LINE_END, 0) != 0) return {};
        rest.erase(0, LINE_END.size());
    }
    if (rest.empty() || rest == "\r") return cutOff();
    if (rest.rfind(LINE_END, 0) != 0) return {};
    return head;
}

// What changes the meaning of an answer beyond what is modelled.
bool isOutOfScope(int code, const std::map<std::string, std::string>& fields,
                  const AskedFor& asked) {
    static const std::set<int> SPECIAL = {205, 206, 401, 407, 416, 417};
    if (code < 200 || code > 599 || SPECIAL.count(code) > 0) return true;
    if (asked.followed && code >= 300 && code < 400 && fields.count("location") > 0) return true;
    if (asked.decoded && fields.count("content-encoding") > 0) return true;
    return fields.count("repr-digest") > 0;
}

}  // namespace

ModelledResponse modelOf(const std::string& bytes, const AskedFor& asked) {
    std::string rest = bytes;
    const auto statusLine = takeLine(rest);
    const auto code = statusLine ? codeIn(*statusLine) : std::nullopt;
    if (!code) return {};

    ModelledResponse good{ModelledResponse::GOOD, *code, withoutBlanks(statusLine->substr(12)), "",
                          ""};
    std::map<std::string, std::string> fields;
    for (;;) {
        const auto line = takeLine(rest);
        if (!line || !isPrintable(*line)) return {};
        if (line->empty()) break;
        const auto colon = line->find(": ");
        if (colon == std::string::npos) return {};
        const std::string name = lowerCase(line->substr(0, colon));
        if (!consistsOf(name, "abcdefghijklmnopqrstuvwxyz0123456789-")) return {};
        if (!fields.emplace(name, line->substr(colon + 2)).second) return {};
        good.headers += line->substr(0, colon + 2) + withoutBlanks(line->substr(colon + 2)) + "\n";
    }
    if (isOutOfScope(*code, fields, asked)) return {};

    const auto length = fields.find("content-length");
    const auto coding = fields.find("transfer-encoding");
    if (coding != fields.end() && (coding->second != "chunked" || length != fields.end()))
        return {};
    if (length != fields.end() &&
        (!consistsOf(length->second, "0123456789") || length->second.size() > 9)) {
        return {};
    }
    if (asked.head || *code == 204 || *code == 304) return good;
    if (coding != fields.end()) return chunked(std::move(good), rest);
    good.body = rest;
    if (length == fields.end()) return good;
    const std::size_t size = std::stoul(length->second);
    if (rest.size() < size) return cutOff();
    good.body.resize(size);
    return good;
}
