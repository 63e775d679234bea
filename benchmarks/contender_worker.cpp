// libcurl tuned as far as it goes, on a thread of its own, with a future a request: the least that
// an asynchronous client on libcurl can cost, for it has no retries and runs nobody's handlers.

#include <curl/curl.h>

#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "contender.h"
#include "curl_response.h"

namespace {

struct Job {
    CurlResponse response;
    std::promise<CurlResponse> promise;
};

using JobPtr = std::unique_ptr<Job>;
using Handle = std::unique_ptr<CURL, void (*)(CURL*)>;

class Worker {
public:
    Worker(std::size_t most, const Task& task)
        : most_(most),
          url_(curl_url(), curl_url_cleanup),
          multi_(curl_multi_init(), curl_multi_cleanup) {
        curl_url_set(url_.get(), CURLUPART_URL, task.url.c_str(), 0);
        for (std::size_t i = 0; i < most_; ++i) idle_.push_back(warmHandle());
        thread_ = std::thread([this] { run(); });
    }

    ~Worker() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            closing_ = true;
        }
        curl_multi_wakeup(multi_.get());
        thread_.join();
    }

    std::future<CurlResponse> get() {
        auto job = std::make_unique<Job>();
        std::future<CurlResponse> future = job->promise.get_future();
        bool wasEmpty = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            wasEmpty = waiting_.empty();
            waiting_.push_back(std::move(job));
        }
        if (wasEmpty) curl_multi_wakeup(multi_.get());
        return future;
    }

private:
    Handle warmHandle() {
        Handle handle(curl_easy_init(), curl_easy_cleanup);
        expect(handle != nullptr, "No handle");
        curl_easy_setopt(handle.get(), CURLOPT_CURLU, url_.get());
        curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
        curl_easy_setopt(handle.get(), CURLOPT_NOPROXY, "");
        curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, CurlResponse::keepPiece);
        curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, CurlResponse::keepHeader);
        return handle;
    }

    void run() {
        while (fetch()) {
            int running = 0;
            curl_multi_perform(multi_.get(), &running);
            if (!collect()) curl_multi_poll(multi_.get(), nullptr, 0, 1000, nullptr);
        }
    }

    // False when nothing is left to do.
    bool fetch() {
        const std::lock_guard<std::mutex> lock(mutex_);
        while (!waiting_.empty() && !idle_.empty()) {
            start(std::move(idle_.back()), std::move(waiting_.front()));
            idle_.pop_back();
            waiting_.pop_front();
        }
        return !closing_ || idle_.size() < most_;
    }

    void start(Handle handle, JobPtr job) {
        curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &job->response);
        curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &job->response);
        curl_easy_setopt(handle.get(), CURLOPT_PRIVATE, job.release());
        curl_multi_add_handle(multi_.get(), handle.release());
    }

    bool collect() {
        bool any = false;
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
            expect(message->data.result == CURLE_OK, "A request failed");
            Handle handle(message->easy_handle, curl_easy_cleanup);
            char* own = nullptr;
            curl_easy_getinfo(handle.get(), CURLINFO_PRIVATE, &own);
            const JobPtr job(reinterpret_cast<Job*>(own));
            curl_multi_remove_handle(multi_.get(), handle.get());
            idle_.push_back(std::move(handle));
            job->promise.set_value(std::move(job->response));
            any = true;
        }
        return any;
    }

    const std::size_t most_;
    const std::unique_ptr<CURLU, void (*)(CURLU*)> url_;
    const std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)> multi_;
    std::vector<Handle> idle_;
    std::mutex mutex_;
    std::deque<JobPtr> waiting_;
    bool closing_ = false;
    std::thread thread_;
};

void inFlight(std::size_t most, const Task& task) {
    Worker worker(most, task);
    std::deque<std::future<CurlResponse>> futures;
    const auto takeFirst = [&] {
        expect(futures.front().get().body.size() == task.bytes, "A response is short");
        futures.pop_front();
    };
    for (std::size_t i = 0; i < task.requests; ++i) {
        futures.push_back(worker.get());
        if (futures.size() == QUEUED * most) takeFirst();
    }
    while (!futures.empty()) takeFirst();
}

void parallel(const Task& task) { inFlight(IN_FLIGHT, task); }

void queued(const Task& task) { inFlight(1, task); }

}  // namespace

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return compete(argc, argv, {{"parallel", parallel}, {"queued", queued}});
}
