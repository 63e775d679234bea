#include <httpclient_core/httpclient_core.h>
#include <httpclient_testing/scripted_http_client.h>

#include <iostream>
#include <stdexcept>
#include <string>

using namespace tavrin::httpclient_core;
namespace kit = tavrin::httpclient_testing;

// [tested]
// The code under test: it knows no more of its client than what every HttpClient promises.
std::string forecast(const HttpClient& client, const std::string& city) {
    HttpRequest request(HttpMethod::GET, URL("https://weather.example/forecast"), {});
    request.setQueryParameters({{"city", city}});
    const HttpResponse response = client.makeRequest(std::move(request));
    if (!isSuccess(response)) throw std::runtime_error("There is no forecast.");
    return response.getResponseBodyString();
}
// [tested]

int main() {
    // [retry]
    const kit::ExpectedRequest question(HttpMethod::GET,
                                        "https://weather.example/forecast?city=Ulm");
    kit::ScriptedHttpClient client;
    client.expect(question, kit::ScriptedAnswer(503, "Service Unavailable"))
        .expect(question, kit::ScriptedAnswer::failure(HttpRequestTimeoutException()))
        .expect(question, kit::ScriptedAnswer(200, "OK").withBody("fog"));

    std::cout << forecast(client, "Ulm") << '\n';
    client.verify();  // throws what was expected and did not come
    // [retry]

    // [surprise]
    try {
        client.expect(question, kit::ScriptedAnswer(200, "OK"));
        forecast(client, "Rome");
    } catch (const std::logic_error& surprise) {
        std::cout << surprise.what();
    }
    // [surprise]

    // The surprise, and what never came in its place; whoever asks is not told once more at the
    // end.
    return client.remaining() == 1 && !client.problems().empty() ? 0 : 1;
}
