#include "multipart_secrets.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "header_line.h"
#include "message_secrets.h"
#include "text_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

// The value of a parameter of a header field, without its quotes; "" if there is none.
std::string_view parameter(std::string_view value, std::string_view name) {
    for (auto at = value.find(';'); at != std::string_view::npos; at = value.find(';', at + 1)) {
        const std::string_view rest = withoutBlanks(value.substr(at + 1));
        const auto equals = rest.find_first_of("=;");
        if (equals == std::string_view::npos || rest[equals] == ';' ||
            !sameName(rest.substr(0, equals), name))
            continue;
        const std::string_view text = rest.substr(equals + 1);
        if (text.substr(0, 1) != "\"") return text.substr(0, text.find_first_of("; \t"));
        return text.substr(1, text.find('"', 1) - 1);
    }
    return {};
}

std::string delimiterOf(std::string_view boundary) { return "--" + std::string(boundary); }

// The next line that begins with the delimiter.
std::size_t findLine(std::string_view body, std::string_view delimiter, std::size_t from) {
    auto at = body.find(delimiter, from);
    while (at != std::string_view::npos && at > 0 && body[at - 1] != '\n')
        at = body.find(delimiter, at + 1);
    return at;
}

// Reads one part, from behind the line of its delimiter on.
class PartScanner {
public:
    PartScanner(std::string_view part, const SecretNames& names, std::size_t depth)
        : part_(part), names_(names), depth_(depth) {}

    Secrets scan() {
        while (begin_ < part_.size()) {
            const std::size_t lineBegin = begin_;
            const std::string_view line = takeLine();
            if (line.empty()) break;
            readHeader(line, lineBegin);
        }
        if (names_.isParameter(name_)) {
            add(found_, begin_, part_.size());
        } else {
            addAll(found_, secretsInBody(part_.substr(begin_), type_, names_, depth_ + 1), begin_);
        }
        return std::move(found_);
    }

private:
    std::string_view takeLine() {
        const auto end = std::min(part_.find('\n', begin_), part_.size());
        std::string_view line = part_.substr(begin_, end - begin_);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        begin_ = std::min(end + 1, part_.size());
        return line;
    }

    void readHeader(std::string_view line, std::size_t lineBegin) {
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) {
            return addAll(found_, secretsInText(line, names_), lineBegin);
        }
        const auto value = std::min(line.find_first_not_of(" \t", colon + 1), line.size());
        addAll(found_, secretsInHeaderValue(line.substr(0, colon), line.substr(value), names_),
               lineBegin + value);
        if (const auto type = valueIfNamed(line, "Content-Type")) type_ = *type;
        if (const auto disposition = valueIfNamed(line, "Content-Disposition")) {
            name_ = parameter(*disposition, "name");
        }
    }

    const std::string_view part_;
    const SecretNames& names_;
    const std::size_t depth_;
    std::size_t begin_ = 0;
    std::string name_;
    std::string type_;
    Secrets found_;
};

}  // namespace

Secrets secretsInMultipart(std::string_view body, std::string_view boundary,
                           const SecretNames& names, std::size_t depth) {
    const std::string delimiter = delimiterOf(boundary);
    auto at = findLine(body, delimiter, 0);
    Secrets found = secretsInText(body.substr(0, at), names);
    while (at != std::string_view::npos) {
        const auto line = std::min(body.find('\n', at), body.size());
        const auto begin = std::min(line + 1, body.size());
        at = findLine(body, delimiter, begin);
        std::size_t end = std::min(at, body.size());
        // The line end before a delimiter is the delimiter's.
        if (at != std::string_view::npos && end > begin && body[end - 1] == '\n') --end;
        if (at != std::string_view::npos && end > begin && body[end - 1] == '\r') --end;
        addAll(found, PartScanner(body.substr(begin, end - begin), names, depth).scan(), begin);
    }
    return found;
}

bool hasParts(std::string_view body, std::string_view boundary) {
    return !boundary.empty() && findLine(body, delimiterOf(boundary), 0) != std::string_view::npos;
}

std::string_view boundaryOf(std::string_view contentType) {
    return parameter(contentType, "boundary");
}

}  // namespace tavrin::httpclient_testing::detail
