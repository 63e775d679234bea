#include "multipart_secrets.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "header_line.h"
#include "message_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

// The value of a parameter of a header field, without its quotes; "" if there is none.
std::string_view parameter(std::string_view value, std::string_view name) {
    for (auto at = value.find(';'); at != std::string_view::npos; at = value.find(';', at + 1)) {
        const std::string_view rest = withoutBlanks(value.substr(at + 1));
        const auto equals = rest.find('=');
        if (equals == std::string_view::npos || !sameName(rest.substr(0, equals), name)) continue;
        const std::string_view text = rest.substr(equals + 1);
        if (text.substr(0, 1) != "\"") return text.substr(0, text.find_first_of("; \t"));
        return text.substr(1, text.find('"', 1) - 1);
    }
    return {};
}

// Reads one part, from behind the line of its delimiter on.
class PartScanner {
public:
    PartScanner(std::string_view part, const SecretNames& names) : part_(part), names_(names) {}

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
            addAll(found_, secretsInBody(part_.substr(begin_), type_, names_), begin_);
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
        if (colon == std::string_view::npos) return;
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
    std::size_t begin_ = 0;
    std::string name_;
    std::string type_;
    Secrets found_;
};

}  // namespace

Secrets secretsInMultipart(std::string_view body, std::string_view boundary,
                           const SecretNames& names) {
    const std::string delimiter = "--" + std::string(boundary);
    Secrets found;
    auto at = body.find(delimiter);
    while (at != std::string_view::npos) {
        const auto line = std::min(body.find('\n', at), body.size());
        const auto begin = std::min(line + 1, body.size());
        at = body.find(delimiter, begin);
        std::size_t end = std::min(at, body.size());
        // The line end before a delimiter is the delimiter's.
        if (at != std::string_view::npos && end > begin && body[end - 1] == '\n') --end;
        if (at != std::string_view::npos && end > begin && body[end - 1] == '\r') --end;
        addAll(found, PartScanner(body.substr(begin, end - begin), names).scan(), begin);
    }
    return found;
}

std::string_view boundaryOf(std::string_view contentType) {
    return parameter(contentType, "boundary");
}

}  // namespace tavrin::httpclient_testing::detail
