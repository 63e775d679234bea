#include "retry_model.h"

#include "is_cancellation.h"

using tavrin::httpclient_testing::detail::isCancellation;

namespace {

// Goes through the attempts, and keeps what a client would have in its hands.
class Model {
public:
    Model(const Dialogue& dialogue, const Road& road) : dialogue_(dialogue), road_(road) {
        if (dialogue.asksForRange) range_ = Dialogue::RANGE;
    }

    Expected run() {
        for (const Step& step : dialogue_.steps) {
            if (!attempt(step)) return expected_;
            if (!goesOn(step)) return expected_;
            prepare();
        }
        return expected_;
    }

private:
    // False if the strategy is never asked about it.
    bool attempt(const Step& step) {
        const std::size_t number = expected_.attempts.size();
        expected_.attempts.push_back({range_, sentBody(number), {step.fault, false}, -1, 0});
        if (road_.asynchronous && step.refused) {
            // Only of the first attempt is there somebody who hears.
            expected_.end = number == 0 ? Expected::THROWN : Expected::LOST;
            expected_.error = {step.fault, false};
            return false;
        }
        if (road_.droppedAt == number) {
            expected_.end = Expected::LOST;
            return false;
        }
        if (road_.destroyedAt == number) {
            expected_.attempts.back().error = {nullptr, true};
        } else if (step.answers) {
            answer(step);
        }
        expected_.attempts.back().code = code_;
        return true;
    }

    void answer(const Step& step) {
        code_ = step.code;
        acceptRanges_ = step.acceptRanges;
        std::int64_t total = 0;
        for (const std::string& chunk : step.chunks)
            total += static_cast<std::int64_t>(chunk.size());
        std::int64_t now = 0;
        for (const std::string& chunk : step.chunks) {
            if (chunk.empty()) continue;
            expected_.body += chunk;
            now += static_cast<std::int64_t>(chunk.size());
            if (!dialogue_.reportsProgress) continue;
            expected_.progress.emplace_back(offset_ + total, offset_ + now);
            if (!step.cancels) continue;
            expected_.attempts.back().error = {nullptr, true};
            return;
        }
    }

    bool goesOn(const Step& step) {
        const bool success = code_ >= 200 && code_ < 300;
        ++consecutive_;
        if (road_.asynchronous && success) consecutive_ = 0;
        expected_.attempts.back().consecutive = consecutive_;
        if (success) consecutive_ = 0;
        ++expected_.asked;

        expected_.code = code_;
        expected_.error = expected_.attempts.back().error;
        if (step.advice == Advice::THROW) {
            expected_.end = road_.asynchronous ? Expected::LOST : Expected::THROWN;
            expected_.error = {dialogue_.strategyFault, false};
        }
        // A client that is being destroyed starts nothing any more.
        const bool closed = road_.destroyedAt == expected_.attempts.size() - 1;
        if (step.advice == Advice::RETRY && closed) expected_.end = Expected::LOST;
        return step.advice == Advice::RETRY && !closed;
    }

    void prepare() {
        if (code_ == -1) return;
        const bool resumes = dialogue_.resume && acceptRanges_ == "bytes";
        if (code_ != 416 && resumes) {
            range_ = "bytes=" + std::to_string(expected_.body.size()) + "-";
            offset_ += static_cast<std::int64_t>(expected_.body.size());
        } else {
            if (code_ == 416) range_.reset();
            expected_.body.clear();
        }
        code_ = -1;
        acceptRanges_.clear();
    }

    std::optional<std::string> sentBody(std::size_t number) const {
        if (dialogue_.body == BodyKind::NONE || dialogue_.body == BodyKind::MULTIPART)
            return std::nullopt;
        const bool isGone = dialogue_.body == BodyKind::STREAM_THAT_CANNOT_GO_BACK && number > 0;
        return isGone ? "" : Dialogue::BODY;
    }

    const Dialogue& dialogue_;
    const Road& road_;
    Expected expected_;
    std::optional<std::string> range_;
    std::string acceptRanges_;
    std::int64_t offset_ = 0;
    int code_ = -1;
    int consecutive_ = 0;
};

}  // namespace

bool ExpectedError::isMetBy(const std::exception_ptr& error) const {
    return cancelled ? isCancellation(error) : error == same;
}

Expected expectedOf(const Dialogue& dialogue, const Road& road) {
    return Model(dialogue, road).run();
}
