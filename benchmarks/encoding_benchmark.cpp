#include <benchmark/benchmark.h>
#ifdef WITH_CURL
#include <curl/curl.h>
#endif
#ifdef WITH_POCO
#include <Poco/Net/HTMLForm.h>
#include <Poco/URI.h>
#endif
#ifdef WITH_CPPREST
#include <cpprest/uri_builder.h>
#endif
#ifdef WITH_HTTPLIB
#include <httplib.h>
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "httpclient_core/form_body.h"
#include "httpclient_core/query_parameters.h"
#include "measure.h"

namespace {

using tavrin::httpclient_core::FormUrlEncoded;
using tavrin::httpclient_core::NameValueCollection;
using tavrin::httpclient_core::QueryParameters;

using Pairs = std::vector<std::pair<std::string, std::string>>;

// What a search form asks for.
const Pairs& typicalPairs() {
    static const Pairs pairs = {{"q", "percent encoding & friends"},
                                {"lang", "en-GB"},
                                {"page", "2"},
                                {"sort", "date desc"},
                                {"from", "2026-11-20T10:00:00"},
                                {"filter", "a/b=c"}};
    return pairs;
}

// Prose: one byte in seven is to be escaped.
std::string textOf(std::int64_t length) {
    constexpr std::string_view WORDS = "a blank, and then some words in between; ";
    std::string text;
    while (text.size() < static_cast<std::size_t>(length)) text += WORDS;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// --- Floor: a table and one buffer, of the most that there can be ---

struct Table {
    Table() {
        constexpr char DIGITS[] = "0123456789ABCDEF";
        for (std::size_t i = 0; i < 256; ++i) {
            const bool stays = (i >= 'A' && i <= 'Z') || (i >= 'a' && i <= 'z') ||
                               (i >= '0' && i <= '9') || i == '-' || i == '.' || i == '_' ||
                               i == '~';
            entries[i] = stays ? std::array<char, 4>{static_cast<char>(i), 0, 0, 1}
                               : std::array<char, 4>{'%', DIGITS[i / 16], DIGITS[i % 16], 3};
        }
    }
    std::array<std::array<char, 4>, 256> entries;
};

char* encodeByTable(char* out, std::string_view text) {
    static const Table table;
    for (const char character : text) {
        const auto& entry = table.entries[static_cast<unsigned char>(character)];
        std::memcpy(out, entry.data(), 4);
        out += entry[3];
    }
    return out;
}

std::string encodedByTable(const std::string& text) {
    std::string encoded(3 * text.size() + 1, '\0');
    const char* end = encodeByTable(encoded.data(), text);
    encoded.resize(static_cast<std::size_t>(end - encoded.data()));
    return encoded;
}

std::string printedByTable(const Pairs& pairs, std::string_view first) {
    std::array<char, 1024> buffer;
    char* out = buffer.data();
    for (const auto& [name, value] : pairs) {
        if (out != buffer.data()) {
            *out++ = '&';
        } else if (!first.empty()) {
            *out++ = first[0];
        }
        out = encodeByTable(out, name);
        *out++ = '=';
        out = encodeByTable(out, value);
    }
    return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

// --- What is measured ---

// The text as a bare key, which is all but alone in its query.
template <int LENGTH>
void encodeOurs(benchmark::State& state) {
    const QueryParameters text(NameValueCollection{{textOf(LENGTH), ""}});
    measure(state, [&] { return text.toString(); });
}
BENCHMARK(encodeOurs<64>)->Name("Encode64/Ours");
BENCHMARK(encodeOurs<1024>)->Name("Encode1024/Ours");

template <int LENGTH>
void encodeFloor(benchmark::State& state) {
    const std::string text = textOf(LENGTH);
    measure(state, [&] { return encodedByTable(text); });
}
BENCHMARK(encodeFloor<64>)->Name("Encode64/Floor");
BENCHMARK(encodeFloor<1024>)->Name("Encode1024/Floor");

#ifdef WITH_CURL
// Into a std::string, as from the others.
template <int LENGTH>
void encodeCurl(benchmark::State& state) {
    const std::string text = textOf(LENGTH);
    measure(state, [&] {
        char* escaped = curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size()));
        std::string encoded = escaped;
        curl_free(escaped);
        return encoded;
    });
}
BENCHMARK(encodeCurl<64>)->Name("Encode64/Curl");
BENCHMARK(encodeCurl<1024>)->Name("Encode1024/Curl");
#endif

QueryParameters queryOurs() {
    QueryParameters query;
    for (const auto& [key, value] : typicalPairs()) query.addQueryParameter(key, value);
    return query;
}

void printQueryOurs(benchmark::State& state) {
    const QueryParameters query = queryOurs();
    measure(state, [&] { return query.toString(); });
}
BENCHMARK(printQueryOurs)->Name("PrintQuery/Ours");

void printQueryFloor(benchmark::State& state) {
    measure(state, [&] { return printedByTable(typicalPairs(), "?"); });
}
BENCHMARK(printQueryFloor)->Name("PrintQuery/Floor");

void queryOfSixOurs(benchmark::State& state) {
    measure(state, [] { return queryOurs().toString(); });
}
BENCHMARK(queryOfSixOurs)->Name("Query/Ours");

// One pair after the other, as ours gets them; room for all of them is made at once.
void queryOfSixFloor(benchmark::State& state) {
    measure(state, [] {
        Pairs query;
        query.reserve(typicalPairs().size());
        const auto add = [&](const std::string& key, std::string value) {
            query.emplace_back(key, std::move(value));
        };
        for (const auto& [key, value] : typicalPairs()) add(key, value);
        return printedByTable(query, "?");
    });
}
BENCHMARK(queryOfSixFloor)->Name("Query/Floor");

void formOurs(benchmark::State& state) {
    NameValueCollection fields;
    for (const auto& [name, value] : typicalPairs()) fields.add(name, value);
    measure(state, [&] { return FormUrlEncoded(fields); });
}
BENCHMARK(formOurs)->Name("Form/Ours");

void formFloor(benchmark::State& state) {
    measure(state, [] { return printedByTable(typicalPairs(), ""); });
}
BENCHMARK(formFloor)->Name("Form/Floor");

#ifdef WITH_POCO
template <int LENGTH>
void encodePoco(benchmark::State& state) {
    const std::string text = textOf(LENGTH);
    measure(state, [&] {
        std::string encoded;
        Poco::URI::encode(text, "?#/:;+@&=", encoded);
        return encoded;
    });
}
BENCHMARK(encodePoco<64>)->Name("Encode64/Poco");
BENCHMARK(encodePoco<1024>)->Name("Encode1024/Poco");

void queryPoco(benchmark::State& state) {
    measure(state, [] {
        Poco::URI uri;
        uri.setQueryParameters(typicalPairs());
        return uri.getRawQuery();
    });
}
BENCHMARK(queryPoco)->Name("Query/Poco");

void formPoco(benchmark::State& state) {
    Poco::Net::HTMLForm fields;
    for (const auto& [name, value] : typicalPairs()) fields.add(name, value);
    measure(state, [&] {
        std::ostringstream os;
        fields.write(os);
        return os.str();
    });
}
BENCHMARK(formPoco)->Name("Form/Poco");
#endif

#ifdef WITH_CPPREST
template <int LENGTH>
void encodeCpprest(benchmark::State& state) {
    const std::string text = textOf(LENGTH);
    measure(state, [&] { return web::uri::encode_data_string(text); });
}
BENCHMARK(encodeCpprest<64>)->Name("Encode64/Cpprest");
BENCHMARK(encodeCpprest<1024>)->Name("Encode1024/Cpprest");

void queryCpprest(benchmark::State& state) {
    measure(state, [] {
        web::uri_builder builder;
        for (const auto& [name, value] : typicalPairs()) builder.append_query(name, value);
        return builder.query();
    });
}
BENCHMARK(queryCpprest)->Name("Query/Cpprest");
#endif

#ifdef WITH_HTTPLIB
template <int LENGTH>
void encodeHttplib(benchmark::State& state) {
    const std::string text = textOf(LENGTH);
    measure(state, [&] { return httplib::detail::encode_query_param(text); });
}
BENCHMARK(encodeHttplib<64>)->Name("Encode64/Httplib");
BENCHMARK(encodeHttplib<1024>)->Name("Encode1024/Httplib");

void queryHttplib(benchmark::State& state) {
    measure(state, [] {
        httplib::Params query;
        for (const auto& [name, value] : typicalPairs()) query.emplace(name, value);
        return httplib::detail::params_to_query_str(query);
    });
}
BENCHMARK(queryHttplib)->Name("Query/Httplib");

void formHttplib(benchmark::State& state) {
    httplib::Params fields;
    for (const auto& [name, value] : typicalPairs()) fields.emplace(name, value);
    measure(state, [&] { return httplib::detail::params_to_query_str(fields); });
}
BENCHMARK(formHttplib)->Name("Form/Httplib");
#endif

}  // namespace
