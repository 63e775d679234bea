#include "safe_file_name.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "lowered.h"
#include "part_file.h"
#include "url_parts.h"
#include "utf8.h"

namespace tavrin::http_tool {
namespace {

// 255 bytes are what file systems take; the rest is for ".part" and what stands beside it.
constexpr std::size_t LONGEST_NAME = 240;

// Length of the well-formed UTF-8 sequence at the start of `text`; 0 if there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) return 0;
    }
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool beyond = (first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F);
    return overlong || beyond ? 0 : length;
}

// C0, DEL and, as UTF-8 writes them, C1: any of them may steer a terminal.
bool isControl(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence[0]);
    if (sequence.size() == 1) return first < 0x20 || first == 0x7F;
    return first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
}

// Marks that turn the direction of writing: behind one, "gpj.exe" is shown as "exe.jpg".
bool turnsDirection(std::string_view sequence) {
    static constexpr std::array<std::string_view, 12> MARKS{"\u061C", "\u200E", "\u200F", "\u202A",
                                                            "\u202B", "\u202C", "\u202D", "\u202E",
                                                            "\u2066", "\u2067", "\u2068", "\u2069"};
    return std::find(MARKS.begin(), MARKS.end(), sequence) != MARKS.end();
}

std::string withoutUnsafeCharacters(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0) {
            safe += '_';
            text.remove_prefix(1);
            continue;
        }
        const std::string_view sequence = text.substr(0, length);
        if (!isControl(sequence) && !turnsDirection(sequence)) safe += sequence;
        text.remove_prefix(length);
    }
    return safe;
}

std::string shortened(const std::string& name) {
    if (name.size() <= LONGEST_NAME) return name;
    const auto dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && name.size() - dot <= 16;
    const std::string extension = hasExtension ? name.substr(dot) : "";
    std::size_t end = LONGEST_NAME - extension.size();
    while (isContinuation(name[end])) --end;
    return name.substr(0, end) + extension;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string percentDecoded(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
                            hexDigit(text[i + 2]) >= 0;
        if (!escape) {
            decoded += text[i];
            continue;
        }
        decoded += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
        i += 2;
    }
    return decoded;
}

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

// Takes a quoted string, or whatever stands before the next ";", off the front of `text`.
std::string takeValue(std::string_view& text) {
    std::string value;
    if (text.empty() || text.front() != '"') {
        const auto end = std::min(text.find(';'), text.size());
        value = text.substr(0, end);
        text.remove_prefix(end);
        value.erase(value.find_last_not_of(" \t") + 1);
        return value;
    }
    text.remove_prefix(1);
    while (!text.empty() && text.front() != '"') {
        if (text.front() == '\\' && text.size() > 1) text.remove_prefix(1);
        value += text.front();
        text.remove_prefix(1);
    }
    return value;
}

// Value of the parameter `wanted`, given in lower case, of a field such as
// "attachment; filename=\"a;b\"".
std::optional<std::string> parameter(std::string_view field, std::string_view wanted) {
    while (true) {
        const auto separator = field.find(';');
        if (separator == std::string_view::npos) return std::nullopt;
        field.remove_prefix(separator + 1);
        skipBlanks(field);
        const auto end = std::min(field.find_first_of("=;"), field.size());
        std::string name = lowered(std::string(field.substr(0, end)));
        field.remove_prefix(end);
        if (field.empty() || field.front() == ';') continue;
        field.remove_prefix(1);
        name.erase(name.find_last_not_of(" \t") + 1);
        skipBlanks(field);
        std::string value = takeValue(field);
        if (name == wanted) return value;
    }
}

// The text of "UTF-8'language'percent-encoded" (RFC 8187, 3.2); nothing for other character sets.
std::optional<std::string> extendedText(const std::string& value) {
    const auto first = value.find('\'');
    const auto second = first == std::string::npos ? first : value.find('\'', first + 1);
    if (second == std::string::npos) return std::nullopt;
    if (lowered(value.substr(0, first)) != "utf-8") return std::nullopt;
    return percentDecoded(value.substr(second + 1));
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A download under way would take a file of such a name for its own, and write over it.
std::string noPartFile(const std::string& name) {
    const bool isOurs =
        endsWith(name, PartFile::PART_SUFFIX) || endsWith(name, PartFile::VALIDATOR_SUFFIX);
    return isOurs ? name + "_" : name;
}

}  // namespace

std::string safeFileName(const std::string& suggestion) {
    const auto separator = suggestion.find_last_of("/\\");
    const auto start = separator == std::string::npos ? 0 : separator + 1;
    std::string name = withoutUnsafeCharacters(std::string_view(suggestion).substr(start));
    name.erase(0, name.find_first_not_of(". "));
    name.erase(name.find_last_not_of(' ') + 1);
    if (!name.empty() && name.front() == '-') name.front() = '_';
    return shortened(name);
}

std::string nameFromUrl(const std::string& url) {
    const auto parts = splitUrl(url);
    return parts ? safeFileName(percentDecoded(parts->path)) : "";
}

std::string nameFromContentDisposition(const std::string& value) {
    if (const auto extended = parameter(value, "filename*")) {
        if (const auto text = extendedText(*extended)) {
            if (const std::string name = safeFileName(*text); !name.empty())
                return noPartFile(name);
        }
    }
    const auto plain = parameter(value, "filename");
    return plain ? noPartFile(safeFileName(*plain)) : "";
}

}  // namespace tavrin::http_tool
