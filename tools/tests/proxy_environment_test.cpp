#include "proxy_environment.h"

#include <gmock/gmock.h>

#include <map>

namespace tavrin::http_tool {
namespace {

Environment environmentOf(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const std::string& name) {
        const auto variable = variables.find(name);
        return variable == variables.end() ? std::nullopt
                                           : std::optional<std::string>(variable->second);
    };
}

TEST(ProxyFor, ChoosesTheVariableByTheScheme) {
    const auto environment = environmentOf({{"http_proxy", "plain"}, {"https_proxy", "tls"}});

    EXPECT_EQ(proxyFor("http://h/", environment), "plain");
    EXPECT_EQ(proxyFor("HTTPS://h/", environment), "tls");
}

TEST(ProxyFor, FallsBackToTheVariableForAll) {
    EXPECT_EQ(proxyFor("http://h/", environmentOf({{"all_proxy", "a"}, {"ALL_PROXY", "b"}})), "a");
    EXPECT_EQ(proxyFor("https://h/", environmentOf({{"ALL_PROXY", "b"}})), "b");
    EXPECT_EQ(proxyFor("https://h/", environmentOf({{"HTTPS_PROXY", "t"}, {"ALL_PROXY", "b"}})),
              "t");
    EXPECT_EQ(proxyFor("http://h/", environmentOf({})), "");
}

TEST(ProxyFor, NeverReadsTheUpperCaseVariableForHttp) {
    EXPECT_EQ(proxyFor("http://h/", environmentOf({{"HTTP_PROXY", "evil"}})), "");
}

TEST(ProxyFor, SparesExemptHosts) {
    EXPECT_EQ(proxyFor("http://u:p@h:80/", environmentOf({{"http_proxy", "p"}, {"no_proxy", "h"}})),
              "");
    EXPECT_EQ(proxyFor("http://h/", environmentOf({{"http_proxy", "p"}, {"NO_PROXY", "h"}})), "");
    EXPECT_EQ(proxyFor("http://g/", environmentOf({{"http_proxy", "p"}, {"NO_PROXY", "h"}})), "p");
}

TEST(IsExempt, KnowsNamesAndDomains) {
    EXPECT_TRUE(isExempt("example.com", "a, Example.com"));
    EXPECT_TRUE(isExempt("www.Example.com", "example.com"));
    EXPECT_TRUE(isExempt("www.example.com", ".example.com"));
    EXPECT_TRUE(isExempt("example.com", ".example.com"));
    EXPECT_TRUE(isExempt("anything", "*"));
    EXPECT_TRUE(isExempt("b", "a b,c"));
}

TEST(IsExempt, TakesTheDotAtTheEndOfANameForNoPartOfIt) {
    EXPECT_TRUE(isExempt("example.com.", "example.com"));
    EXPECT_TRUE(isExempt("www.example.com.", ".example.com"));
    EXPECT_TRUE(isExempt("example.com", "example.com."));
    EXPECT_TRUE(isExempt("127.0.0.1.", "127.0.0.1"));
    EXPECT_FALSE(isExempt("example.com.", "."));
}

TEST(IsExempt, KnowsAnAddressInBrackets) {
    EXPECT_TRUE(isExempt("::1", "[::1]"));
    EXPECT_TRUE(isExempt("fe80::1", "a,[FE80::]/10"));
    EXPECT_FALSE(isExempt("::1", "[::2]"));
    EXPECT_FALSE(isExempt("::1", "["));
}

TEST(IsExempt, DoesNotTakeAPieceOfANameForADomain) {
    EXPECT_FALSE(isExempt("badexample.com", "example.com"));
    EXPECT_FALSE(isExempt("example.com", "www.example.com"));
    EXPECT_FALSE(isExempt("example.com", ""));
    EXPECT_FALSE(isExempt("example.com", ",, ."));
    EXPECT_FALSE(isExempt("example.com", "com.example"));
}

TEST(IsExempt, KnowsAddressesAndBlocks) {
    EXPECT_TRUE(isExempt("127.0.0.1", "127.0.0.1"));
    EXPECT_TRUE(isExempt("10.1.2.3", "10.0.0.0/8"));
    EXPECT_TRUE(isExempt("192.168.7.255", "192.168.4.0/22"));
    EXPECT_TRUE(isExempt("fe80::1", "FE80::/10"));
    EXPECT_TRUE(isExempt("::1", "0:0::1"));
    EXPECT_TRUE(isExempt("8.8.8.8", "0.0.0.0/0"));
    EXPECT_FALSE(isExempt("11.1.2.3", "10.0.0.0/8"));
    EXPECT_FALSE(isExempt("192.168.8.1", "192.168.4.0/22"));
    EXPECT_FALSE(isExempt("10.1.2.3", "10.0.0.0/33"));
    EXPECT_FALSE(isExempt("10.1.2.3", "10.0.0.0/x"));
    EXPECT_FALSE(isExempt("10.1.2.3", "10.0.0.0/"));
    EXPECT_FALSE(isExempt("::1", "0.0.0.0/0"));
    // An address has no domain that it lies in.
    EXPECT_FALSE(isExempt("127.0.0.1", "0.1"));
}

}  // namespace
}  // namespace tavrin::http_tool
