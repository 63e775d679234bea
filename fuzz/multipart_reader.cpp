#include "multipart_reader.h"

#include "check.h"

namespace {

const std::string LINE_END = "\r\n";

// What stands before the next `mark`, which is taken away with it.
std::string take(std::string& text, const std::string& mark) {
    const auto end = text.find(mark);
    CHECK(end != std::string::npos);
    std::string taken = text.substr(0, end);
    text.erase(0, end + mark.size());
    return taken;
}

void skip(std::string& text, const std::string& mark) { CHECK(take(text, mark).empty()); }

std::vector<std::pair<std::string, std::string>> takeFields(std::string& text) {
    std::vector<std::pair<std::string, std::string>> fields;
    for (std::string line = take(text, LINE_END); !line.empty(); line = take(text, LINE_END)) {
        std::string name = take(line, ": ");
        fields.emplace_back(std::move(name), line);
    }
    return fields;
}

std::string valueOf(const std::vector<std::pair<std::string, std::string>>& fields,
                    const std::string& name) {
    std::string value;
    int found = 0;
    for (const auto& [other, otherValue] : fields) {
        if (other != name) continue;
        value = otherValue;
        ++found;
    }
    CHECK(found == 1);
    return value;
}

}  // namespace

bool operator==(const ReadPart& a, const ReadPart& b) {
    return a.fields == b.fields && a.content == b.content;
}

std::vector<ReadPart> readParts(const std::string& request) {
    std::string rest = request;
    take(rest, LINE_END);
    const auto head = takeFields(rest);
    CHECK(std::to_string(rest.size()) == valueOf(head, "Content-Length"));
    std::string boundary = valueOf(head, "Content-Type");
    skip(boundary, "multipart/form-data; boundary=");
    CHECK(!boundary.empty() && boundary.size() <= 70);

    std::vector<ReadPart> parts;
    skip(rest, "--" + boundary);
    while (rest != "--\r\n") {
        skip(rest, LINE_END);
        ReadPart part;
        part.fields = takeFields(rest);
        part.content = take(rest, LINE_END + "--" + boundary);
        parts.push_back(std::move(part));
    }
    return parts;
}
