#include <openssl/evp.h>

#include <fstream>
#include <regex>

#include "support.h"
#include "support/owning_stream.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::size_t SIZE = 100000;

class Resuming : public OnBothRoads {
protected:
    // Downloads through the plan with a strategy that never gives up, and expects the content that
    // the server has in the end.
    void expectRight(const std::string& plan, const std::string& path = "/file") {
        SCOPED_TRACE(plan);
        expectRightWith(plan, path);
    }

    void expectRightWith(httpclient_testing::FaultPlan plan, const std::string& path = "/file") {
        server_.setPlan(std::move(plan));
        server_.forgetRequests();
        const CurlHttpClient client(stubborn());
        HttpResponse response = send(client, get(server_.url(path)));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_TRUE(response.getResponseBodyString() == server_.content(path).all())
            << "another body";
    }

    std::optional<std::string> rangeOf(std::size_t request) {
        return server_.requests().at(request).header("Range");
    }

    FaultServer server_{FaultServerOptions{ServedContent{3, SIZE}, {}, {}, {}}};
};
ON_BOTH_ROADS(Resuming);

TEST_P(Resuming, AsksForWhatIsMissingOfTheSameRepresentation) {
    expectRight("rst@40000,ok");
    EXPECT_FALSE(rangeOf(0));
    const ReceivedRequest second = server_.requests().at(1);
    EXPECT_EQ(second.header("Range").value().substr(0, 6), "bytes=");
    EXPECT_EQ(second.header("If-Range"), server_.etag("/file"));
}

TEST_P(Resuming, ShowsTheTwoAnswersAsOne) {
    server_.setPlan("fin@40000,ok");
    HttpResponse response = send(CurlHttpClient(stubborn()), get(server_.url("/file")));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseCodeReason(), "OK");
    EXPECT_EQ(response.getContentLength(), static_cast<long>(SIZE));
    EXPECT_FALSE(response.hasHeader("Content-Range"));
    EXPECT_EQ(server_.requests().at(1).header("Range"), "bytes=40000-");
}

TEST_P(Resuming, GoesOnThroughTenBreaksWithoutAcceptRangesInTheParts) {
    expectRight("fin@9000+noar206*10,ok");
    for (std::size_t i = 1; i <= 10; ++i)
        EXPECT_EQ(rangeOf(i), "bytes=" + std::to_string(9000 * i) + "-");
}

TEST_P(Resuming, SurvivesTheTenEventsThatDamageAFile) {
    expectRight("fin@40000,ignorerange");               // 200 to a range
    expectRight("fin@40000,ignorerange+fin@60000,ok");  // and that one cut
    expectRight("fin@40000,change");                    // another version
    expectRight("fin@40000,change:+500,ok");
    expectRight("fin@40000,change+ifrangeignore");  // If-Range not understood
    expectRight("fin@40000,503,ok");                // the wish outlives its body
    expectRight("fin@40000,fin@20000+noar206,ok");
    expectRight("503:ar:b5000,ok");  // an error page is no prefix
    expectRight("404:ar:b5000,ok");
    expectRight("fin@40000,404:ar:b5000,fin@40000,ok");
    for (const char* odd :
         {"wrongrange:+1", "wrongrange:-1", "wrongrange:+4096", "wrongrange:-4096", "lietotal:+1",
          "lietotal:-1", "nocr", "multirange", "shortrange:5", "ifrangedrop"}) {
        expectRight("fin@40000," + std::string(odd) + ",ok");
    }
    expectRight("fin@40000,gzip+ifrangeignore,ok");  // a coded part
}

TEST_P(Resuming, RestartsWithinTheAttemptThatDoesNotFit) {
    for (const std::string odd : {"wrongrange:+1", "clless:60000", "clmore:1"}) {
        SCOPED_TRACE(odd);
        server_.setPlan("fin@40000," + odd + ",ok");
        server_.forgetRequests();
        int attempts = 0;
        ClientConfiguration configuration = stubborn();
        const auto strategy = configuration.retryStrategy();
        configuration.setRetryStrategy([&](const auto&... arguments) {
            ++attempts;
            return strategy(arguments...);
        });
        send(CurlHttpClient(configuration), get(server_.url("/file")));
        EXPECT_EQ(attempts, 2);
        EXPECT_EQ(server_.requests().size(), 3u);
        EXPECT_FALSE(rangeOf(2));
    }
}

TEST_P(Resuming, NeedsAStrongValidatorAndALength) {
    for (const char* weak :
         {"weaketag+nolm", "noetag+nolm", "noetag+recentlm", "noetag+nodate", "chunked"}) {
        expectRight(std::string(weak) + "+fin@40000,ok");
        EXPECT_FALSE(rangeOf(1)) << weak;
    }
    expectRight("noetag+fin@40000,noetag");
    EXPECT_EQ(rangeOf(1), "bytes=40000-");
    EXPECT_EQ(server_.requests().at(1).header("If-Range")->substr(25), " GMT");
    EXPECT_EQ(server_.requests().size(), 2u);
}

TEST_P(Resuming, TrustsADateThatIsAMinuteOldAndATagInQuotes) {
    const std::string date = "Fri, 20 Nov 2026 10:01:00 GMT";
    const struct {
        HttpHeaders headers;
        bool isTrusted;
    } cases[] = {
        {{{"Date", date}, {"Last-Modified", "Fri, 20 Nov 2026 10:00:00 GMT"}}, true},
        {{{"Date", date}, {"Last-Modified", "Fri, 20 Nov 2026 10:00:01 GMT"}}, false},
        {{{"Date", date}, {"Last-Modified", "Fri, 20 Nov 2026 10:02:00 GMT"}}, false},
        {{{"Date", date}, {"Last-Modified", "yesterday"}}, false},
        {{{"Date", "today"}, {"Last-Modified", "Fri, 20 Nov 2026 10:00:00 GMT"}}, false},
        {{{"Date", "today"}, {"Last-Modified", "Wed, 01 Jan 1969 10:00:00 GMT"}}, false},
        {{{"ETag", "\"\""}}, true},
        {{{"ETag", "\""}}, false},
        {{{"ETag", "\"x"}}, false},
        {{{"ETag", "x\""}}, false},
    };
    for (const auto& [headers, isTrusted] : cases) {
        auto cut = httpclient_testing::FaultStep::parse("noetag+nolm+nodate+fin@40000");
        cut.headers.assign(headers.begin(), headers.end());
        SCOPED_TRACE(testing::PrintToString(cut.headers));

        expectRightWith(std::vector{cut, httpclient_testing::FaultStep::parse("ok")});

        EXPECT_EQ(rangeOf(1).has_value(), isTrusted);
    }
}

TEST_P(Resuming, TakesTheRestHoweverItsLengthIsTold) {
    for (const std::string framing : {"nolen", "chunked", "clte"}) {
        expectRight("fin@40000," + framing);
        EXPECT_EQ(rangeOf(1), "bytes=40000-") << framing;
        EXPECT_EQ(server_.requests().size(), 2u) << framing;
    }
}

TEST_P(Resuming, HoldsNothingOfWhatIsCodedOrInChunks) {
    for (const std::string form : {"gzip", "chunked", "clte"}) {
        expectRight(form + "+fin@400,ok");
        EXPECT_FALSE(rangeOf(1)) << form;
    }
}

TEST_P(Resuming, TakesNoMultipartForTheRestWhateverItsRangeSays) {
    for (const std::string type : {"multipart/byteranges; boundary=x", "MULTIPART/MIXED"}) {
        auto odd = httpclient_testing::FaultStep::parse("ok");
        odd.oddFirstLines = "Content-Type: " + type + "\r\n";
        SCOPED_TRACE(type);

        expectRightWith(std::vector{httpclient_testing::FaultStep::parse("fin@40000"), odd,
                                    httpclient_testing::FaultStep::parse("ok")});

        EXPECT_FALSE(rangeOf(2));
    }
}

TEST_P(Resuming, TakesNoPartThatTellsTwoRanges) {
    auto odd = httpclient_testing::FaultStep::parse("wrongrange:-1+clless:1");
    odd.oddFirstLines = "Content-Range: bytes 40000-99999/100000\r\n";

    expectRightWith(std::vector{httpclient_testing::FaultStep::parse("fin@40000"), odd,
                                httpclient_testing::FaultStep::parse("ok")});

    EXPECT_FALSE(rangeOf(2));
}

// A request for the rest asks for no coding, nor does it say that none may be.
TEST_P(Resuming, DecodesWhatComesCodedInPlaceOfTheRest) {
    server_.setPlan("fin@40000,gzip+ignorerange");
    const CurlHttpClient client(stubborn(2), CurlOptions().withDecodeContent(true));

    const HttpResponse response = send(client, get(server_.url("/file")));

    EXPECT_FALSE(response.hasHeader("Content-Encoding"));
    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_EQ(rangeOf(1), "bytes=40000-");
    EXPECT_EQ(server_.requests().size(), 2U);
}

TEST_P(Resuming, AsksForNothingBehindTheLastByte) {
    expectRight("digest+fin@40000,change+keepetag,ok");
    EXPECT_FALSE(rangeOf(2));
}

TEST_P(Resuming, StartsAnewAfterARangeThatCannotBeHad) {
    expectRight("fin@40000,416,ok");
    EXPECT_FALSE(rangeOf(2));
    expectRight("rst@end,ok");
}

TEST_P(Resuming, EndsWithTheRefusalAloneIfTheServerInsists) {
    server_.setPlan("fin@40000,416");
    ClientConfiguration configuration = stubborn(5);
    HttpResponse response = send(CurlHttpClient(configuration), get(server_.url("/file")));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::RANGE_NOT_SATISFIABLE);
    EXPECT_LT(response.getResponseBodyString().size(), 1000u);
    EXPECT_EQ(server_.requests().size(), 5u);
}

TEST_P(Resuming, HoldsItsBytesThroughAttemptsWithoutAnAnswer) {
    expectRight("fin@40000,noresp,accept_rst,hfin@10,ok");
    EXPECT_EQ(server_.requests().back().header("Range"), "bytes=40000-");
}

TEST_P(Resuming, GoesOnBehindAStallAndAnErrorPage) {
    server_.setPlan("stall@40000,503,ok");
    HttpResponse response =
        send(CurlHttpClient(stubborn().withIdleTimeout(200)), get(server_.url("/file")));
    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_EQ(rangeOf(1), "bytes=40000-");
    EXPECT_FALSE(rangeOf(2));
}

TEST_P(Resuming, GoesOnWhenAServerThatWasAwayIsBack) {
    server_.setPlan("fin@40000,refused,ok");
    int refusals = 0;
    ClientConfiguration configuration;
    configuration.setResumeOnRetry(true);
    configuration.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int, int) {
            if (error == nullptr) return false;
            const std::string text = failureOf([&] { std::rethrow_exception(error); });
            if (text.find("failed: connecting: ") != std::string::npos && ++refusals == 3)
                server_.acceptAgain();
            return true;
        });

    HttpResponse response = send(CurlHttpClient(configuration), get(server_.url("/file")));

    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_EQ(refusals, 3);
    EXPECT_EQ(server_.requests().back().header("Range"), "bytes=40000-");
}

TEST_P(Resuming, LeavesTheApplicationsOwnRangeAlone) {
    server_.setPlan("fin@50,503,ok");
    HttpResponse response =
        send(CurlHttpClient(stubborn()), get(server_.url("/file"), {{"Range", "bytes=100-199"}}));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::PARTIAL_CONTENT);
    EXPECT_EQ(response.getResponseBodyString(), server_.content("/file").range(100, 100));
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(rangeOf(i), "bytes=100-199");
    EXPECT_FALSE(server_.requests().back().header("If-Range"));
}

TEST_P(Resuming, PutsItsValidatorInPlaceOfTheApplications) {
    server_.setPlan("fin@40000,ok");
    send(CurlHttpClient(stubborn()), get(server_.url("/file"), {{"if-range", "\"other\""}}));
    EXPECT_EQ(server_.requests().at(0).header("If-Range"), "\"other\"");
    EXPECT_EQ(server_.requests().at(1).header("If-Range"), server_.etag("/file"));
    EXPECT_EQ(server_.requests().at(1).countHeader("If-Range"), 1u);
}

TEST_P(Resuming, APartThatNobodyAskedForIsAnError) {
    server_.setPlan("unasked206");
    auto seen = HttpResponseCode::OK;
    const auto strategy = [&](const HttpRequest&, const HttpResponse& response,
                              const std::exception_ptr&, int, int) {
        seen = response.getResponseCode();
        return false;
    };
    const CurlHttpClient client(ClientConfiguration().withRetryStrategy(strategy));
    EXPECT_THAT(failureOf([&] { send(client, get(server_.url("/file"))); }),
                HasSubstr("range: a part came that nobody asked for"));
    EXPECT_EQ(static_cast<int>(seen), -1);
}

// Where nothing but the end of the connection tells how long a part is.
TEST_P(Resuming, PartsThatDoNotAddUpToTheWholeAreAnError) {
    auto tooShort = httpclient_testing::FaultStep::parse("nolen+fin@1000");
    auto tooLong = httpclient_testing::FaultStep::parse("nolen+nocr+wrongrange:-10");
    tooLong.headers = {{"Content-Range", "bytes 40000-99999/100000"}};
    using GoesOn = std::optional<std::string>;
    for (const auto& [part, further] :
         {std::pair(tooShort, GoesOn("bytes=41000-")), std::pair(tooLong, GoesOn())}) {
        SCOPED_TRACE(part.text);
        const auto cut = httpclient_testing::FaultStep::parse("fin@40000");
        server_.setPlan(std::vector{cut, part});
        EXPECT_EQ(failureOf([&] { send(CurlHttpClient(stubborn(2)), get(server_.url("/file"))); }),
                  "Request to " + hostOf(server_) +
                      " failed: range: the parts do not add up to the whole");

        expectRightWith(std::vector{cut, part, httpclient_testing::FaultStep()});

        EXPECT_EQ(rangeOf(1), "bytes=40000-");
        EXPECT_EQ(rangeOf(2), further);
    }
}

TEST_P(Resuming, TakesIdentityForNoCoding) {
    expectRight("fin@40000+header:Content-Encoding=identity,ok");
    EXPECT_EQ(rangeOf(1), "bytes=40000-");
    expectRight("fin@40000+header:Content-Encoding=,ok");
    EXPECT_EQ(rangeOf(1), "bytes=40000-");
}

TEST_P(Resuming, AsksForNoRangeUnlessItIsWanted) {
    server_.setPlan("fin@40000,ok");
    HttpResponse response =
        send(CurlHttpClient(stubborn().withResumeOnRetry(false)), get(server_.url("/file")));
    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_FALSE(rangeOf(1));
}

TEST_P(Resuming, IgnoresWhatRedirectsInterimAnswersAndTrailersSayOfRanges) {
    expectRight("302:/there+header:Accept-Ranges=bytes+header:ETag=\"x\",fin@40000+noar,ok,ok");
    expectRight("interim:3+fin@40000+noar,ok");
    EXPECT_FALSE(rangeOf(1));
    expectRight("trailers+fin@40000,ok");
    EXPECT_FALSE(rangeOf(1));
}

TEST_P(Resuming, GoesOnBehindARedirect) {
    server_.setPlan("302:/file,fin@40000,302:/file,ok");
    HttpResponse response = send(CurlHttpClient(stubborn()), get(server_.url("/start")));
    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_EQ(rangeOf(3), "bytes=40000-");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 1);
}

TEST_P(Resuming, GoesOnWhereARedirectSignsTheSamePathAnew) {
    server_.setPlan("302:/file?signed=1,fin@40000,302:/file?signed=2,ok");
    HttpResponse response = send(CurlHttpClient(stubborn()), get(server_.url("/start")));
    EXPECT_TRUE(response.getResponseBodyString() == server_.content("/file").all());
    EXPECT_EQ(server_.requests().size(), 4u);
    EXPECT_EQ(rangeOf(3), "bytes=40000-");
}

// What was cut off at one place and what another has bear the same validator.
TEST_P(Resuming, StartsAnewWhereARedirectLeadsElsewhere) {
    const std::string tagged = "noetag+header:ETag=\"v1\"+ifrangeignore";
    const ServedContent content{4, SIZE};
    const FaultServer other(FaultServerOptions{content, tagged, {}, {}});
    server_.serve("/other", content);
    server_.setPlan("/other", tagged);
    for (const std::string& elsewhere : {other.url("/file"), server_.url("/other")}) {
        SCOPED_TRACE(elsewhere);
        server_.setPlan("/start", "302:/file,302:" + elsewhere);
        server_.setPlan("/file", tagged + "+fin@40000");

        const HttpResponse response = send(CurlHttpClient(stubborn()), get(server_.url("/start")));

        EXPECT_TRUE(response.getResponseBodyString() == content.all());
    }
    EXPECT_EQ(other.requests().size(), 2U);
}

TEST_P(Resuming, CountsNoRedirectOfARangeThatDidNotFit) {
    server_.setPlan("302:/file,fin@40000,302:/file,wrongrange:+1,302:/file,ok");
    const HttpResponse response = send(CurlHttpClient(stubborn()), get(server_.url("/start")));
    EXPECT_EQ(server_.requests().size(), 6u);
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 1);
}

TEST_P(Resuming, FactorySeesTheFinalStatusOfWhatItHolds) {
    server_.setPlan("503:b100,404:b0,fin@40000,503,ok");
    std::vector<std::pair<int, std::stringstream*>> made;
    HttpRequest request = get(server_.url("/file"));
    request.setResponseStreamFactory(
        [&](HttpResponseCode code, const std::string&, const HttpHeaders&) {
            auto stream = std::make_unique<std::stringstream>();
            made.emplace_back(static_cast<int>(code), stream.get());
            return stream;
        });

    HttpResponse response = send(CurlHttpClient(stubborn()), std::move(request));

    ASSERT_FALSE(made.empty());
    EXPECT_EQ(made.back().first, 200);
    EXPECT_EQ(&response.getResponseBody(), made.back().second);
    EXPECT_TRUE(made.back().second->str() == server_.content("/file").all());
}

TEST_P(Resuming, ProgressCountsWhatWasHeldAtEachResume) {
    const auto lastWith = [&](const std::string& plan) {
        server_.setPlan(plan);
        HttpRequest request = get(server_.url("/file"));
        Progress last;
        request.setProgressCallback([&](const Progress& progress) {
            last = progress;
            return ProgressResult::CONTINUE;
        });
        send(CurlHttpClient(stubborn()), std::move(request));
        return std::pair(last.downloadNow, last.downloadTotal);
    };
    const std::int64_t size = SIZE;

    EXPECT_EQ(lastWith("fin@40000,ok"), std::pair(size, size));
    // The frame adds what it finds at a further resume to what it added before.
    EXPECT_EQ(lastWith("fin@40000,fin@20000,ok"), std::pair(size + 40000, size + 40000));
}

TEST_P(Resuming, ADigestShowsWhatNothingElseDoes) {
    const auto failureOfPlan = [&](const std::string& plan,
                                   const ClientConfiguration& configuration) {
        server_.setPlan(plan);
        return failureOf([&] { send(CurlHttpClient(configuration), get(server_.url("/file"))); });
    };
    const std::string failure = "Request to " + hostOf(server_) +
                                " failed: digest: the body is not what its Repr-Digest tells";
    EXPECT_EQ(failureOfPlan("digest", once()), "");
    EXPECT_EQ(failureOfPlan("baddigest", once()), failure);
    EXPECT_EQ(failureOfPlan("digest+fin@40000,digest", stubborn(2)), "");
    EXPECT_EQ(failureOfPlan("digest+fin@40000,fin@20000,digest", stubborn(3)), "");
    EXPECT_EQ(failureOfPlan("digest+fin@40000,change+keepetag", stubborn(2)), failure);
    EXPECT_EQ(failureOfPlan("digest+nolen+fin@40000", once()), failure);
    expectRight("digest+fin@40000,change+keepetag,ok");
}

TEST_P(Resuming, ADigestTellsNothingOfAPart) {
    server_.setPlan("digest");
    const HttpResponse response =
        send(CurlHttpClient(once()), get(server_.url("/file"), {{"Range", "bytes=10-19"}}));
    EXPECT_TRUE(response.hasHeader("Repr-Digest"));
    EXPECT_EQ(response.getResponseBodyString(), server_.content("/file").range(10, 10));
}

// As a field of digests has it.
std::string digestOf(const std::string& text, const EVP_MD* function) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, function, nullptr);
    unsigned char base64[2 * EVP_MAX_MD_SIZE];
    EVP_EncodeBlock(base64, digest, static_cast<int>(size));
    return std::string(":") + reinterpret_cast<const char*>(base64) + ":";
}

TEST_P(Resuming, TheStrongestDigestOfAllFieldsCounts) {
    const std::string body = server_.content("/file").all();
    const std::string right256 = "sha-256=" + digestOf(body, EVP_sha256());
    const std::string wrong256 = "sha-256=" + digestOf("other", EVP_sha256());
    const std::string right512 = "sha-512=" + digestOf(body, EVP_sha512());
    const std::string wrong512 = "sha-512=" + digestOf("other", EVP_sha512());
    const std::pair<std::vector<std::string>, bool> cases[] = {
        {{right256}, true},
        {{right512}, true},
        {{wrong512}, false},
        {{right512 + ", " + wrong256}, true},
        {{right256, wrong512}, false},
        {{"md5=:AAAA:", wrong256}, false},
        {{right256, wrong256}, false},
        {{wrong256, right256}, true},
        {{"md5=:AAAA:,\t" + wrong256 + ";q=1 , id=:AAAA:"}, false},
        {{"x-" + wrong256}, true},
        {{"sha-256=:AAAA:", "sha-256", "=", ",", ""}, true},
        {{wrong256.substr(0, wrong256.size() - 1)}, true},
    };
    for (const auto& [fields, isRight] : cases) {
        httpclient_testing::FaultStep step;
        for (const std::string& field : fields) step.headers.emplace_back("Repr-Digest", field);
        server_.setPlan(std::vector{step});
        const std::string text =
            failureOf([&] { send(CurlHttpClient(once()), get(server_.url("/file"))); });
        EXPECT_EQ(text.empty(), isRight) << testing::PrintToString(fields) << text;
    }
}

// A file that begins with ten bytes of the application's, and maybe more behind them.
class ResumingToFile : public Resuming {
protected:
    void fill(const std::string& text) const { httpclient_core::test::writeFile(path_, text); }
    std::string fileText() const { return httpclient_core::test::readFile(path_); }

    HttpRequest into(std::ios::openmode mode, std::streamoff position = 0) const {
        HttpRequest request = get(server_.url("/file"));
        request.setResponseStreamFactory([path = path_, mode, position](HttpResponseCode,
                                                                        const std::string&,
                                                                        const HttpHeaders&) {
            auto file = std::make_unique<std::fstream>(path, mode | std::ios::binary);
            if (position > 0) file->seekp(position);
            return file;
        });
        return request;
    }

    const httpclient_core::test::TemporaryDirectory directory_;
    const std::string path_ = directory_.file("file");
};
ON_BOTH_ROADS(ResumingToFile);

constexpr auto CREATE = std::ios::in | std::ios::out | std::ios::trunc;
constexpr auto OPEN = std::ios::in | std::ios::out;

TEST_P(ResumingToFile, EndsIdentical) {
    server_.setPlan("fin@10000,503,fin@20000,ignorerange+fin@50000,fin@30000,change,fin@1,ok");
    send(CurlHttpClient(stubborn()), into(CREATE));
    EXPECT_TRUE(fileText() == server_.content("/file").all());
}

TEST_P(ResumingToFile, ThatBeginsLaterKeepsItsPrefix) {
    for (const char* plan : {"ok", "fin@10000,ok", "fin@10000,fin@10000,503,ok",
                             "fin@10000,wrongrange:+1,fin@500,ok"}) {
        SCOPED_TRACE(plan);
        fill("0123456789");
        server_.setPlan(plan);
        send(CurlHttpClient(stubborn()), into(OPEN, 10));
        EXPECT_TRUE(fileText() == "0123456789" + server_.content("/file").all());
    }
    server_.forgetRequests();
    server_.setPlan("fin@10000,ok");
    fill("0123456789");
    send(CurlHttpClient(stubborn()), into(OPEN, 10));
    EXPECT_EQ(rangeOf(1), "bytes=10000-");
}

TEST_P(ResumingToFile, ThatBeginsLaterAndHoldsNothingIsAskedForWhole) {
    fill("0123456789");
    server_.setPlan("503:b100,fin@0,ok");

    send(CurlHttpClient(stubborn()), into(OPEN, 10));

    EXPECT_FALSE(rangeOf(2));
    EXPECT_TRUE(fileText() == "0123456789" + server_.content("/file").all());
}

TEST_P(ResumingToFile, ThatBeginsLaterIsOpenedOnce) {
    fill("0123456789");
    server_.setPlan("503:b100,fin@10000+weaketag+nolm,ok");
    HttpRequest request = into(OPEN, 10);
    int opened = 0;
    request.setResponseStreamFactory(
        [&, open = request.getResponseStreamFactory()](const auto&... answer) {
            ++opened;
            return open(answer...);
        });

    send(CurlHttpClient(stubborn()), std::move(request));

    EXPECT_EQ(opened, 1);
    EXPECT_TRUE(fileText() == "0123456789" + server_.content("/file").all());
}

TEST_P(ResumingToFile, WithOldBytesBehindTheBodyIsAnError) {
    fill(std::string(SIZE + 11, 'o'));
    for (const std::streamoff start : {0, 10}) {
        EXPECT_THAT(failureOf([&] { send(CurlHttpClient(once()), into(OPEN, start)); }),
                    HasSubstr("response stream: bytes that are not the body's stand behind it"));
    }
}

TEST_P(ResumingToFile, WithALongerBodyFromAnEarlierAttemptIsAnError) {
    fill("0123456789");
    server_.setPlan("fin@90000,change:-50000");
    const std::string text = failureOf([&] { send(CurlHttpClient(stubborn(2)), into(OPEN, 10)); });
    EXPECT_THAT(text, HasSubstr("stand behind it and cannot be cut off"));
    EXPECT_EQ(fileText().substr(0, 10), "0123456789");
}

// Whose end nobody can find.
class EndlessBuffer : public std::stringbuf {
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode which) override {
        return from == std::ios::end ? pos_type(off_type(-1))
                                     : std::stringbuf::seekoff(offset, from, which);
    }
};

TEST_P(Resuming, IntoAStreamThatHoldsALongerBodyAndDoesNotTellItsEndIsAnError) {
    server_.setPlan("fin@90000,change:-50000");
    HttpRequest request = get(server_.url("/file"));
    request.setResponseStreamFactory([](const auto&...) {
        using Endless = httpclient_core::test::OwningStream<std::iostream, EndlessBuffer>;
        auto stream = std::make_unique<Endless>();
        *stream << "0123456789";
        return stream;
    });

    EXPECT_EQ(failureOf([&] { send(CurlHttpClient(stubborn(2)), std::move(request)); }),
              "Request to " + hostOf(server_) +
                  " failed: response stream: bytes that are not the body's stand behind it and "
                  "cannot be cut off");
}

TEST_P(ResumingToFile, OpenedForAppendingIsRightOrAnError) {
    const auto append = std::ios::out | std::ios::app;
    for (const char* plan : {"ok", "fin@10000,ok"}) {
        fill("0123456789");
        server_.setPlan(plan);
        send(CurlHttpClient(stubborn()), into(append));
        EXPECT_TRUE(fileText() == "0123456789" + server_.content("/file").all()) << plan;
    }
    for (const char* plan : {"fin@10000+weaketag+nolm,ok", "fin@10+weaketag+nolm,ok", "503,ok"}) {
        fill("0123456789");
        server_.setPlan(plan);
        EXPECT_THAT(failureOf([&] { send(CurlHttpClient(stubborn(2)), into(append)); }),
                    HasSubstr("it writes elsewhere than where it stands"))
            << plan;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl
