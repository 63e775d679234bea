#include <gmock/gmock.h>
#include <httpclient_testing/matchers.h>
#include <httpclient_testing/scripted_http_client.h>

namespace http = tavrin::httpclient_core;
namespace kit = tavrin::httpclient_testing;

using testing::AllOf;
using testing::ElementsAre;

TEST(Matchers, KnowARequestAndItsAnswer) {
    kit::ScriptedHttpClient client;
    client.expect({http::HttpMethod::GET, "http://host/file"}, kit::ScriptedAnswer(404));

    const http::HttpResponse response = client.makeRequest(http::HttpRequest(
        http::HttpMethod::GET, http::URL("http://host/file"), {{"Accept", "text/plain"}}));

    EXPECT_THAT(response, kit::IsStatus(404));
    EXPECT_THAT(client.requests(), ElementsAre(AllOf(kit::HasMethod(http::HttpMethod::GET),
                                                     kit::HasHeader("Accept", "text/plain"))));
}
