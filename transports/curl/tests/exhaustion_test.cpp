#include <future>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>

#include "exhaustion/failing_allocations.h"
#include "httpclient_core/multipart.h"
#include "httpclient_testing/black_hole.h"
#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/server_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;
using httpclient_core::test::allocationsInUse;
using httpclient_core::test::Failing;
using httpclient_core::test::FailingAllocations;
using httpclient_core::test::Whose;

constexpr ServedContent FILE_CONTENT{3, 2000};

// Memory that lacks at every point of a request, on the thread that makes it or on those of the
// client.
class Exhaustion : public testing::TestWithParam<std::tuple<Road, Whose>> {
protected:
    using Transfer = std::function<bool(const CurlHttpClient&)>;

    // Each time the transfer ends right or with an error, the client can be used further, and
    // nothing is left of it in the end.
    void sweep(const Transfer& transfer) {
        ASSERT_TRUE(transfer(CurlHttpClient(configuration_)));
        for (const bool warm : {false, true}) {
            for (const Failing failing : {Failing::ONE, Failing::ALL_LATER}) {
                std::size_t succeeding = 0;
                while (meetFailure(transfer, warm, succeeding, failing)) {
                    ++succeeding;
                    ASSERT_LT(succeeding, 5000U);
                    ASSERT_FALSE(HasFailure());
                }
                EXPECT_GT(succeeding, 10U);
            }
        }
    }

    HttpResponse send(const CurlHttpClient& client, HttpRequest request) const {
        if (std::get<Road>(GetParam()) == Road::SYNCHRONOUS)
            return client.makeRequest(std::move(request));
        auto future = client.makeAsyncRequest(std::move(request));
        if (future.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
            throw std::logic_error("never completed");
        return future.get();
    }

    const test::ServerProcess server_{{}, [](FaultServer& server) {
                                          server.serve("/file", FILE_CONTENT);
                                          server.setPlan("/start", "302:/file");
                                          // Three attempts bring all of it.
                                          server.setPlan("/file", "fin@700");
                                          server.serve("/whole", FILE_CONTENT);
                                          server.setPlan("/malformed", "dupcl");
                                      }};

private:
    static void warmUp(const Transfer& transfer, const CurlHttpClient& client) {
        EXPECT_TRUE(transfer(client));
    }

    // Whether an allocation was left to fail.
    bool meetFailure(const Transfer& transfer, bool warm, std::size_t succeeding, Failing failing) {
        SCOPED_TRACE(testing::Message() << (warm ? "warm" : "cold") << ", after " << succeeding
                                        << " allocations " << failing);
        const auto inUse = allocationsInUse();
        {
            std::optional<CurlHttpClient> client;
            if (warm) warmUp(transfer, client.emplace(configuration_));
            try {
                const FailingAllocations limit(succeeding, failing, std::get<Whose>(GetParam()));
                if (!client) client.emplace(configuration_);
                EXPECT_TRUE(transfer(*client));
            } catch (const HttpRequestFailedException&) {
            } catch (const std::bad_alloc&) {
            } catch (const std::system_error&) {
            } catch (const std::future_error& error) {
                // The frame had no memory to go on, or to say so.
                EXPECT_EQ(error.code(), std::future_errc::broken_promise);
            }
            if (!client) client.emplace(configuration_);
            EXPECT_TRUE(transfer(*client)) << "of the next request";
        }
        EXPECT_EQ(allocationsInUse(), inUse) << "leaks";
        return FailingAllocations::anyFailed();
    }

    const ClientConfiguration configuration_ =
        stubborn(4).withMaxThreads(1).withMaxRequestsPerThread(1);
};
std::string nameOf(const testing::TestParamInfo<std::tuple<Road, Whose>>& info) {
    const auto [road, whose] = info.param;
    if (road == Road::SYNCHRONOUS) return "OnTheOnlyThread";
    return whose == Whose::THIS_THREAD ? "OnTheCallersThread" : "OnTheClientsThreads";
}

INSTANTIATE_TEST_SUITE_P(, Exhaustion,
                         testing::Values(std::tuple(Road::SYNCHRONOUS, Whose::THIS_THREAD),
                                         std::tuple(Road::ASYNCHRONOUS, Whose::THIS_THREAD),
                                         std::tuple(Road::ASYNCHRONOUS, Whose::OTHER_THREADS)),
                         nameOf);

TEST_P(Exhaustion, OfAResumedDownloadBehindARedirect) {
    const std::string whole = FILE_CONTENT.all();
    sweep([&](const CurlHttpClient& client) {
        return send(client, get(server_.url("/start"))).getResponseBodyString() == whole;
    });
}

// Which an attempt that came to nothing must not take for one of the frame's wishes.
TEST_P(Exhaustion, OfARangeOfTheApplicationsOwn) {
    const std::string part = FILE_CONTENT.range(100, 100);
    sweep([&](const CurlHttpClient& client) {
        return send(client, get(server_.url("/whole"), {{"Range", "bytes=100-199"}}))
                   .getResponseBodyString() == part;
    });
}

TEST_P(Exhaustion, OfAMalformedAnswer) {
    const auto whatFails = [&](const CurlHttpClient& client) {
        return failureOf([&] { send(client, get(server_.url("/malformed"))); });
    };
    const std::string failure = whatFails(CurlHttpClient());
    EXPECT_THAT(failure, testing::HasSubstr("failed: malformed response: "));
    sweep([&](const CurlHttpClient& client) { return whatFails(client) == failure; });
}

TEST_P(Exhaustion, OfAnUpload) {
    const std::string body(5000, 'x');
    const std::string sum = httpclient_testing::sha256Hex(body);
    sweep([&](const CurlHttpClient& client) {
        return send(client, withBody(HttpMethod::PUT, server_.url(), body, {{"X-A", "b"}}))
                   .getResponseBodyString() == sum;
    });
}

TEST_P(Exhaustion, OfAForm) {
    const httpclient_core::test::TemporaryDirectory directory;
    const std::string path = directory.file("file");
    httpclient_core::test::writeFile(path, "content");
    sweep([&](const CurlHttpClient& client) {
        HttpRequest request(HttpMethod::POST, URL(server_.url()), {});
        request.setMultipartBody(MultipartBody()
                                     .withPart(DataPart(PartHeader("name", "text/plain"), "data"))
                                     .withPart(FilePart(path)));
        return isSuccess(send(client, std::move(request)));
    });
}

class ExhaustedEnd : public testing::TestWithParam<Whose> {};
INSTANTIATE_TEST_SUITE_P(, ExhaustedEnd, testing::Values(Whose::THIS_THREAD, Whose::OTHER_THREADS),
                         [](const auto& whose) {
                             return whose.param == Whose::THIS_THREAD ? "OnThisThread"
                                                                      : "OnTheClientsThreads";
                         });

TEST_P(ExhaustedEnd, CompletesWhatIsQueuedAndUnderWay) {
    const httpclient_testing::BlackHole nobody;
    const auto two = ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(2);
    for (std::size_t succeeding = 0;; ++succeeding) {
        SCOPED_TRACE(succeeding);
        std::vector<std::future<HttpResponse>> futures;
        {
            std::optional<CurlHttpClient> client(std::in_place, two);
            for (int i = 0; i < 5; ++i)
                futures.push_back(client->makeAsyncRequest(get(nobody.url())));
            const FailingAllocations limit(succeeding, Failing::ALL_LATER, GetParam());
            client.reset();
        }
        for (auto& future : futures) {
            ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
            try {
                future.get();
                ADD_FAILURE();
            } catch (const HttpRequestCancelledException&) {
            } catch (const std::future_error& error) {
                EXPECT_EQ(error.code(), std::future_errc::broken_promise);
            }
        }
        if (!FailingAllocations::anyFailed()) break;
    }
}

// The server's threads have memory; only the client's calling thread runs out of it.
TEST(HandleAfterExhaustion, SendsWhatTheNextRequestSays) {
    const FaultServer server;
    const HttpHeaders many{{"X-A", "1"}, {"X-B", "2"}, {"X-C", "3"}, {"X-D", "4"}};
    for (std::size_t succeeding = 0;; ++succeeding) {
        SCOPED_TRACE(succeeding);
        const CurlHttpClient client(once());
        client.makeRequest(get(server.url()));
        try {
            const FailingAllocations limit(succeeding, Failing::ONE);
            client.makeRequest(get(server.url(), many));
        } catch (const std::exception&) {
        }
        if (!FailingAllocations::anyFailed()) break;

        client.makeRequest(get(server.url(), many));

        EXPECT_EQ(server.requests().back().header("X-D"), "4");
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl
