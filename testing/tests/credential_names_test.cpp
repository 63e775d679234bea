#include "httpclient_testing/credential_names.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "httpclient_testing/matchers.h"
#include "httpclient_testing/recording_http_client.h"
#include "httpclient_testing/replaying_http_client.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::URL;
using testing::AllOf;
using testing::DescribeMatcher;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::PrintToString;

HttpRequest secretRequest() {
    return HttpRequest(HttpMethod::GET, URL("http://host/?badge=geheim&code=7"),
                       {{"X-Badge", "geheim"}});
}

// Names of the program, for as long as the test runs.
class CredentialNamesOfProgram : public testing::Test {
protected:
    CredentialNamesOfProgram() { setCredentialNames({{"X-Badge"}, {"badge"}, {"code"}}); }
    ~CredentialNamesOfProgram() override { setCredentialNames({}); }
};

TEST_F(CredentialNamesOfProgram, StandBesideThoseOfEachObject) {
    const Credentials credentials({{"X-Mine"}, {"mine"}, {"token"}});

    EXPECT_EQ(credentials.blankedUrl("/?badge=geheim&mine=geheim&code=7&token=t&pin=geheim"),
              "/?badge=***&mine=***&code=7&token=t&pin=***");
    EXPECT_TRUE(credentials.isHeader("x-badge"));
    EXPECT_TRUE(credentials.isHeader("x-mine"));
    EXPECT_THAT(credentials.further().headers, ElementsAre("X-Mine", "X-Badge"));
    EXPECT_THAT(credentials.further().parameters, ElementsAre("mine", "badge"));
    EXPECT_THAT(credentials.further().harmless, ElementsAre("token", "code"));
}

TEST_F(CredentialNamesOfProgram, HoldForWhatIsMadeFromThenOn) {
    const Credentials earlier;

    setCredentialNames({{}, {"other"}});

    EXPECT_EQ(earlier.blankedUrl("/?badge=geheim&other=a&code=7"), "/?badge=***&other=a&code=7");
    EXPECT_EQ(Credentials().blankedUrl("/?badge=a&other=geheim&code=7"),
              "/?badge=a&other=***&code=***");
}

TEST_F(CredentialNamesOfProgram, AreKnownToMatchersAndPrinters) {
    const HttpRequest request = secretRequest();

    EXPECT_EQ(PrintToString(request),
              "\nGET http://host/?badge=***&code=7 HTTP/1.1\nX-Badge: ***\n\n");
    EXPECT_EQ(DescribeMatcher<HttpRequest>(HasHeader("X-Badge", "geheim")),
              "has a header X-Badge whose value is equal to \"***\"");
    EXPECT_EQ(DescribeMatcher<HttpRequest>(HasUrl("/?badge=geheim")),
              "has a URL that is equal to \"/?badge=***\"");
    testing::StringMatchResultListener listener;
    ExplainMatchResult(HasHeader("X-Badge", "other"), request, &listener);
    EXPECT_EQ(listener.str(), "whose header X-Badge is \"***\", which differs in what is blanked");
}

TEST_F(CredentialNamesOfProgram, AreKnownToScriptsOnBothSides) {
    ScriptedHttpClient client;
    client.expect(ExpectedRequest(HttpMethod::GET, "/?badge=geheim")
                      .withHeader("X-Badge", "geheim")
                      .withHeaders({{"X-Badge", "geheim"}})
                      .withBody("badge=geheim"),
                  ScriptedAnswer(200));

    EXPECT_THROW(client.makeRequest(secretRequest()), std::logic_error);

    EXPECT_THAT(client.problems(),
                AllOf(HasSubstr("GET http://host/?badge=***&code=7 HTTP/1.1\nX-Badge: ***\n"),
                      HasSubstr("URL /?badge=***\n"), Not(HasSubstr("geheim"))));
}

TEST_F(CredentialNamesOfProgram, AreKnownToRecordingsWhichRememberThem) {
    const std::string path = testing::TempDir() + "names-" + std::to_string(::getpid());
    ScriptedHttpClient transport;
    transport.expect({}, ScriptedAnswer(200).withBody("badge=geheim"));
    { RecordingHttpClient(transport, path).makeRequest(secretRequest()); }
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    setCredentialNames({});
    const ReplayingHttpClient client(path);
    std::remove(path.c_str());
    HttpRequest request = secretRequest();
    request.setHeaderValue("X-Badge", "other");

    EXPECT_THAT(text.str(), AllOf(HasSubstr("?badge=***&code=7"), Not(HasSubstr("geheim"))));
    client.makeRequest(std::move(request));
    EXPECT_EQ(client.problems(), "");
}

TEST_F(CredentialNamesOfProgram, AreSetAndReadByManyThreads) {
    const std::vector<std::string> names{"one", "two", "three", "four"};
    std::vector<std::thread> threads;
    for (const std::string& name : names) {
        threads.emplace_back([&name] {
            for (int i = 0; i < 100; ++i) {
                setCredentialNames({{name}, {name}});
                const Credentials credentials;
                EXPECT_EQ(credentials.further().headers, credentials.further().parameters);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(Credentials().further().headers.size(), 1);
}

}  // namespace
}  // namespace tavrin::httpclient_testing
