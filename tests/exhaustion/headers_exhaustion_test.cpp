#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "httpclient_core/cookie.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/media_types.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectUnchangedWhileMemoryLacks;
using test::longText;
using test::Operation;
using test::refused;

std::vector<Operation<HttpHeaders>> headerOperations() {
    const std::string name = longText("Name");
    const std::string value = longText("value");
    return {
        {"getHeaderValue", [=](HttpHeaders& headers) { return headers.getHeaderValue(name); }},
        {"getHeaderValue of an absent name", refused<std::out_of_range>([=](HttpHeaders& headers) {
             headers.getHeaderValue(longText("Absent"));
         })},
        {"setHeaderValue", [=](HttpHeaders& headers) { headers.setHeaderValue(name, value); }},
        {"setHeaderValue of an absent name",
         [=](HttpHeaders& headers) { headers.setHeaderValue(longText("New"), value); }},
        {"addHeaderValue", [=](HttpHeaders& headers) { headers.addHeaderValue(name, value); }},
        {"addHeader", [=](HttpHeaders& headers) { headers.addHeader(name + ": " + value); }},
        {"addHeader without a colon",
         refused<std::runtime_error>([=](HttpHeaders& headers) { headers.addHeader(name); })},
        {"removeHeader", [=](HttpHeaders& headers) { headers.removeHeader(longText("Name")); }},
        {"construct",
         [=](HttpHeaders&) {
             return entryLines(HttpHeaders{{name, value}, {name, name}});
         }},
        {"copy", [](HttpHeaders& headers) { return entryLines(HttpHeaders(headers)); }},
        {"assign",
         [=](HttpHeaders& headers) {
             const HttpHeaders others = {{name, value}, {value, name}, {"a", "b"}};
             headers = others;
         }},
    };
}

TEST(HttpHeadersExhaustion, LeavesTheHeadersUnchanged) {
    expectUnchangedWhileMemoryLacks(
        [] {
            return HttpHeaders{{longText("Name"), longText("1")}, {longText("name"), "2"}};
        },
        entryLines<HttpHeaders>, headerOperations());
}

struct Nothing {};

std::string show(const NameValueCollection& entries) { return entries.toString("|", "="); }

std::vector<Operation<Nothing>> parsing() {
    const std::string a = longText("a");
    const std::string b = longText("b");
    return {
        {"splitElements",
         [=](Nothing&) {
             std::string text;
             HttpHeaders::splitElements(
                 a + ", " + b, [&](const std::string& element) { text += element + "|"; }, ",",
                 true);
             return text;
         }},
        {"splitParameter",
         [=](Nothing&) {
             const auto [name, value] = HttpHeaders::splitParameter(a + " = " + b, "=");
             return name + "|" + value;
         }},
        {"splitParameter without a delimiter",
         refused<std::runtime_error>([=](Nothing&) { HttpHeaders::splitParameter(a, "="); })},
        {"splitParameters",
         [=](Nothing&) {
             const auto [leading, parameters] =
                 HttpHeaders::splitParameters(a + ";" + a + "=" + b + ";" + b + "=" + a, ";");
             return leading + "|" + show(parameters);
         }},
        {"ContentType::parse",
         [=](Nothing&) {
             const auto type = ContentType::parse(a + "; " + a + "=" + b);
             return type.getType() + "|" + show(type.getParameters());
         }},
        {"ContentType::parse of an empty value",
         refused<std::runtime_error>([=](Nothing&) { ContentType::parse(a + "; " + b + "="); })},
        {"ContentType::getType", [=](Nothing&) { return ContentType(a, {}).getType(); }},
        {"ContentType::getParameters",
         [=](Nothing&) {
             return show(ContentType(a, {{a, b}}).getParameters());
         }},
        {"ContentType::toString",
         [=](Nothing&) {
             return ContentType(a, {{a, b}, {b, a}}).toString();
         }},
        {"Accept::parse",
         [=](Nothing&) { return Accept::parse(a + ", " + b + ";" + a + "=" + b).toString(); }},
        {"Accept::parse of a bad element",
         refused<std::runtime_error>([=](Nothing&) { Accept::parse(a + ", " + b + "; " + a); })},
        {"Accept::getTypes",
         [=](Nothing&) {
             const Accept accept({ContentType(a, {}), ContentType(b, {{a, b}})});
             return accept.getTypes().at(1).toString();
         }},
        {"Accept::at a place behind the last", refused<std::out_of_range>([=](Nothing&) {
             return Accept({ContentType(a, {})}).at(1).toString();
         })},
        {"Cookie::parse",
         [=](Nothing&) { return show(Cookie::parse(a + "=" + b + "; " + b + "=" + a)); }},
        {"Cookie::parse of a bad piece",
         refused<std::runtime_error>([=](Nothing&) { Cookie::parse(a + "=" + b + "; " + b); })},
        {"Cookie::toString",
         [=](Nothing&) {
             return Cookie::toString({{a, b}, {b, a}});
         }},
    };
}

TEST(HeaderValuesExhaustion, GivesAWholeResultOrNone) {
    expectUnchangedWhileMemoryLacks([] { return Nothing(); },
                                    [](const Nothing&) { return std::string(); }, parsing());
}

TEST(ContentTypeExhaustion, IsAssignedWholeOrNotAtAll) {
    const ContentType other(longText("other"), {{longText("a"), longText("b")}});
    expectUnchangedWhileMemoryLacks(
        [] {
            return ContentType("type", {{"a", "b"}});
        },
        [](const ContentType& type) { return type.toString(); },
        {{"assign", [&](ContentType& type) { type = other; }}});
}

TEST(AcceptExhaustion, IsAssignedWholeOrNotAtAll) {
    const ContentType type(longText("other"), {{longText("a"), longText("b")}});
    const Accept other({type, type});
    expectUnchangedWhileMemoryLacks(
        [] {
            return Accept({ContentType("type", {{"a", "b"}}), ContentType("b", {})});
        },
        [](const Accept& accept) { return accept.toString(); },
        {{"assign", [&](Accept& accept) { accept = other; }}});
}

}  // namespace
}  // namespace tavrin::httpclient_core
