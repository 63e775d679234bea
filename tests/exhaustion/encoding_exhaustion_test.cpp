#include <gtest/gtest.h>

#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "httpclient_core/file_path.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/query_parameters.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectNoCutText;
using test::expectUnchangedWhileMemoryLacks;
using test::longText;
using test::Operation;
using test::refused;

std::vector<Operation<QueryParameters>> queryOperations() {
    const std::string key = longText("key");
    const std::string value = longText("value");
    return {
        {"addQueryParameter", [=](QueryParameters& query) { query.addQueryParameter(key, value); }},
        {"addQueryParameter with an empty key",
         refused<std::logic_error>(
             [=](QueryParameters& query) { query.addQueryParameter("", value); })},
        {"getParameterValue", [=](QueryParameters& query) { return query.getParameterValue(key); }},
        {"getParameterValue of an absent key",
         refused<std::logic_error>(
             [=](QueryParameters& query) { query.getParameterValue(longText("absent")); })},
        {"getAllParameterValues",
         [=](QueryParameters& query) {
             const auto values = query.getAllParameterValues(key);
             return std::to_string(values.size()) + values.front();
         }},
        {"getAllParameterValues of an absent key",
         refused<std::logic_error>(
             [=](QueryParameters& query) { query.getAllParameterValues(longText("absent")); })},
        {"construct",
         [=](QueryParameters&) {
             return entryLines(QueryParameters{{key, value}, {value, key}});
         }},
        {"construct of a collection",
         [=](QueryParameters&) {
             return entryLines(QueryParameters(NameValueCollection{{key, value}, {"", key}}));
         }},
        {"copy", [](QueryParameters& query) { return entryLines(QueryParameters(query)); }},
        {"assign",
         [=](QueryParameters& query) {
             const QueryParameters other = {{value, key}};
             query = other;
         }},
        {"construct with an empty key", refused<std::logic_error>([=](QueryParameters&) {
             QueryParameters({{key, value}, {"", value}});
         })},
        {"toString", [](QueryParameters& query) { return query.toString(); }},
    };
}

TEST(QueryParametersExhaustion, LeavesTheParametersUnchanged) {
    expectUnchangedWhileMemoryLacks(
        [] {
            return QueryParameters{{longText("key"), longText("1")}, {longText("KEY"), "2"}};
        },
        entryLines<QueryParameters>, queryOperations());
}

TEST(QueryParametersExhaustion, NeverPrintsACutText) {
    const QueryParameters query = {{longText("key"), longText("1")}, {longText("KEY"), "2"}};
    expectNoCutText(query.toString(), [&](std::ostream& os) { query.toStream(os); });
}

TEST(FormUrlEncodedExhaustion, LeavesTheFormUnchanged) {
    const NameValueCollection fields = {{longText("name"), longText("value")}, {"a b", "c"}};
    const auto content = [](const FormUrlEncoded& form) {
        return std::string(std::istreambuf_iterator<char>(*form.stream()), {});
    };
    using Form = FormUrlEncoded;
    const std::vector<Operation<Form>> operations = {
        {"construct", [=](Form&) { return content(Form(fields)); }},
        {"copy", [=](Form& form) { return content(Form(form)); }},
        {"assign",
         [=](Form& form) {
             const Form other({{longText("other"), longText("field")}, {"and", "another"}});
             form = other;
         }},
        {"contentType", [](Form& form) { return form.contentType().toString(); }},
        {"stream", content},
    };
    expectUnchangedWhileMemoryLacks([&] { return FormUrlEncoded(fields); }, content, operations);
}

struct Nothing {};

std::vector<Operation<Nothing>> values() {
    const std::string name = longText("name");
    return {
        {"FilePath",
         [=](Nothing&) {
             const FilePath path(name);
             const FilePath copy = path;
             return copy.toUtf8() + std::to_string(copy.toUtf16().size());
         }},
        {"FilePath of an array", [=](Nothing&) { return FilePath(name.c_str()).toUtf8(); }},
        {"FilePath of malformed text",
         refused<std::runtime_error>([=](Nothing&) { FilePath(name + "\xFF"); })},
    };
}

TEST(EncodingExhaustion, GivesAWholeResultOrNone) {
    expectUnchangedWhileMemoryLacks([] { return Nothing(); },
                                    [](const Nothing&) { return std::string(); }, values());
}

}  // namespace
}  // namespace tavrin::httpclient_core
