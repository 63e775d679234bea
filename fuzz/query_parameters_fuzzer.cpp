#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/query_parameters.h"

using tavrin::httpclient_core::FormUrlEncoded;
using tavrin::httpclient_core::NameValueCollection;
using tavrin::httpclient_core::QueryParameters;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

bool standsForItself(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string("-._~").find(c) != std::string::npos;
}

// Every byte has one way to be written, and no other is taken here.
std::string decoded(const std::string& text, const std::string& blank) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+' && blank == "+") {
            result += ' ';
        } else if (text[i] != '%') {
            CHECK(standsForItself(text[i]));
            result += text[i];
        } else {
            CHECK(i + 2 < text.size());
            const std::string digits = text.substr(i + 1, 2);
            CHECK(digits.find_first_not_of("0123456789ABCDEF") == std::string::npos);
            const char c = static_cast<char>(std::stoi(digits, nullptr, 16));
            CHECK(!standsForItself(c));
            CHECK(c != ' ' || blank == "%20");
            result += c;
            i += 2;
        }
    }
    return result;
}

Pairs decodedPairs(const std::string& text, const std::string& blank) {
    Pairs pairs;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const auto end = std::min(text.find('&', begin), text.size());
        const std::string pair = text.substr(begin, end - begin);
        const auto equals = std::min(pair.find('='), pair.size());
        pairs.emplace_back(decoded(pair.substr(0, equals), blank),
                           equals == pair.size() ? "" : decoded(pair.substr(equals + 1), blank));
        begin = end + 1;
    }
    return pairs;
}

}  // namespace

// Pieces between NUL bytes are keys and values; what is printed decodes to them again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Pairs pairs;
    NameValueCollection collection;
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (std::size_t begin = 0; begin < size;) {
        const auto middle = std::min(text.find('\0', begin), size);
        const auto end = std::min(text.find('\0', std::min(middle + 1, size)), size);
        const auto valueBegin = std::min(middle + 1, size);
        pairs.emplace_back(text.substr(begin, middle - begin),
                           text.substr(valueBegin, end - valueBegin));
        collection.add(pairs.back());
        begin = end + 1;
    }

    const QueryParameters parameters(collection);
    const std::string query = parameters.toString();
    CHECK(query.empty() == pairs.empty());
    if (!pairs.empty()) {
        CHECK(query.front() == '?');
        CHECK(decodedPairs(query.substr(1), "%20") == pairs);
    }

    const FormUrlEncoded form(collection);
    const auto stream = form.stream();
    const std::string body{std::istreambuf_iterator<char>(*stream), {}};
    CHECK(body.size() == form.contentLength());
    if (!pairs.empty()) CHECK(decodedPairs(body, "+") == pairs);
    return 0;
}
