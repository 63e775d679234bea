#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "collections/failing_allocation.h"
#include "httpclient_core/collections.h"
#include "httpclient_core/cookie.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/media_types.h"
#include "httpclient_core/query_parameters.h"

namespace tavrin::httpclient_core {
namespace {

using test::FailingAllocation;

// A later allocation fails each time: first there is no text, and then the whole one.
TEST(PrintingExhaustion, GivesAWholeTextOrNone) {
    const std::string text(300, 'x');
    const NameValueCollection entries = {{text, text}, {"a", "1"}, {"b", text}};
    const ContentType type(text, entries);
    const std::vector<std::pair<std::string, std::function<std::string()>>> prints = {
        {"collection", [&] { return entries.toString("&", "="); }},
        {"cookies", [&] { return Cookie::toString(entries); }},
        {"media type", [&] { return type.toString(); }},
        {"media types", [&, types = Accept({type, type})] { return types.toString(); }},
        {"query", [&, query = QueryParameters(entries)] { return query.toString(); }},
        {"form",
         [&] {
             const FormUrlEncoded form(entries);
             return std::string(form.contentLength(), '#');
         }},
    };
    for (const auto& [what, print] : prints) {
        SCOPED_TRACE(what);
        const std::string whole = print();
        std::size_t allocations = 0;
        std::string printed;
        for (bool lacked = true; lacked; ++allocations) {
            lacked = false;
            try {
                const FailingAllocation failure(allocations);
                printed = print();
            } catch (const std::bad_alloc&) {
                lacked = true;
            }
        }
        EXPECT_EQ(printed, whole);
        EXPECT_GT(allocations, 1u) << "nothing failed";
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core
