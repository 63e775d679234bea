#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <istream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/query_parameters.h"
#include "support/collection_model.h"

using tavrin::httpclient_core::FormUrlEncoded;
using tavrin::httpclient_core::NameValueCollection;
using tavrin::httpclient_core::QueryParameters;
using tavrin::httpclient_core::test::CollectionModel;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// More of them only take time: each is looked up, and refused with an exception if it has no key.
constexpr std::size_t MOST_PAIRS = 30;

// How a query and a form body are written.
struct Form {
    const char* blank;
    bool emptyValueHasEquals;
};
constexpr Form QUERY = {"%20", false};
constexpr Form BODY = {"+", true};

Pairs readPairs(FuzzedDataProvider& input) {
    Pairs pairs;
    while (input.remaining_bytes() > 0 && pairs.size() < MOST_PAIRS) {
        std::string key = input.ConsumeRandomLengthString();
        pairs.emplace_back(std::move(key), input.ConsumeRandomLengthString());
    }
    return pairs;
}

bool standsForItself(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string("-._~").find(c) != std::string::npos;
}

// Every byte has one way to be written, and no other is taken here.
std::string decoded(const std::string& text, const Form& form) {
    const std::string blank = form.blank;
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, blank.size(), blank) == 0) {
            result += ' ';
            i += blank.size() - 1;
        } else if (text[i] != '%') {
            CHECK(standsForItself(text[i]));
            result += text[i];
        } else {
            CHECK(i + 2 < text.size());
            const std::string digits = text.substr(i + 1, 2);
            CHECK(digits.find_first_not_of("0123456789ABCDEF") == std::string::npos);
            const char c = static_cast<char>(std::stoi(digits, nullptr, 16));
            CHECK(!standsForItself(c) && c != ' ');
            result += c;
            i += 2;
        }
    }
    return result;
}

Pairs decodedPairs(const std::string& text, const Form& form) {
    Pairs pairs;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const auto end = std::min(text.find('&', begin), text.size());
        const std::string pair = text.substr(begin, end - begin);
        const auto equals = std::min(pair.find('='), pair.size());
        const bool hasEquals = equals < pair.size();
        const std::string value = hasEquals ? pair.substr(equals + 1) : "";
        CHECK(hasEquals == (!value.empty() || form.emptyValueHasEquals));
        pairs.emplace_back(decoded(pair.substr(0, equals), form), decoded(value, form));
        begin = end + 1;
    }
    return pairs;
}

void checkQuery(const QueryParameters& parameters, const Pairs& pairs) {
    const std::string query = parameters.toString();
    CHECK(query.empty() == pairs.empty());
    if (pairs.empty()) return;
    CHECK(query.front() == '?');
    CHECK(decodedPairs(query.substr(1), QUERY) == pairs);
}

void checkForm(const FormUrlEncoded& form, const Pairs& pairs) {
    const auto stream = form.stream();
    const std::string body{std::istreambuf_iterator<char>(*stream), {}};
    CHECK(body.size() == form.contentLength());
    CHECK(form.contentType().toString() == "application/x-www-form-urlencoded");
    CHECK(pairs.empty() ? body.empty() : decodedPairs(body, BODY) == pairs);
}

// The first value goes by the collection's index, all values by the key's exact text.
void checkLookup(QueryParameters& parameters, const Pairs& pairs) {
    CollectionModel model;
    for (const auto& pair : pairs) model.add(pair);
    for (const auto& [key, value] : pairs) {
        const std::string& wanted = key;
        std::vector<std::string> exact;
        for (const auto& [other, otherValue] : pairs) {
            if (other == wanted) exact.push_back(otherValue);
        }
        CHECK(parameters.hasParameterKey(key));
        CHECK(parameters.getParameterValue(key) == pairs[model.find(key).front()].second);
        CHECK(parameters.getAllParameterValues(key) == exact);
    }
}

// A refused pair leaves the parameters as they were.
void addOneByOne(QueryParameters& parameters, const Pairs& pairs) {
    for (const auto& [key, value] : pairs) {
        const std::size_t before = parameters.size();
        bool refused = false;
        try {
            parameters.addQueryParameter(key, value);
        } catch (const std::logic_error& error) {
            CHECK(error.what() == std::string("Cannot add QueryParameter with an empty key"));
            refused = true;
        }
        CHECK(refused == key.empty());
        CHECK(parameters.size() == before + (refused ? 0 : 1));
    }
}

}  // namespace

// Strings are keys and values by turns: what is written of them, as a query and as a form, decodes
// to them again, and each is found.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Pairs pairs = readPairs(input);
    NameValueCollection collection;
    for (const auto& pair : pairs) collection.add(pair);

    QueryParameters parameters(collection);
    checkQuery(parameters, pairs);
    checkForm(FormUrlEncoded(collection), pairs);
    checkLookup(parameters, pairs);

    QueryParameters added;
    addOneByOne(added, pairs);
    const auto isKeyless = [](const auto& pair) { return pair.first.empty(); };
    pairs.erase(std::remove_if(pairs.begin(), pairs.end(), isKeyless), pairs.end());
    checkQuery(added, pairs);
    return 0;
}
