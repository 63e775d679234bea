#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "exhaustion/failing_allocations.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core::test {

/// `text`, made too long to be kept inside a std::string, so that every copy of it allocates.
inline std::string longText(const std::string& text) {
    return text + " and forty more characters behind it";
}

/// An operation with a name, which shows its result as a text; "" if it returns nothing.
template <typename Object>
class Operation {
public:
    template <typename Callable>
    Operation(std::string name, Callable callable) : name_(std::move(name)) {
        if constexpr (std::is_void_v<std::invoke_result_t<Callable&, Object&>>) {
            call_ = [callable](Object& object) {
                callable(object);
                return std::string();
            };
        } else {
            call_ = callable;
        }
    }

    const std::string& name() const { return name_; }
    std::string operator()(Object& object) const { return call_(object); }

private:
    std::string name_;
    std::function<std::string(Object&)> call_;
};

/// Makes of `callable` an operation that is to throw an `Exception`, and shows its text.
template <typename Exception, typename Callable>
auto refused(Callable callable) {
    return [callable](auto& object) -> std::string {
        try {
            callable(object);
        } catch (const Exception& error) {
            return error.what();
        }
        return "not refused";
    };
}

/// Holds one operation against every point at which memory can run out.
///
/// `make` gives a fresh object, `show` all that can be seen of it. Where memory runs out, the
/// operation must throw std::bad_alloc and the object show what it showed before, or else the
/// operation must have done its work; the same call must then do it, and nothing may leak.
template <typename Make, typename Show>
class AllocationSweep {
public:
    using Object = std::invoke_result_t<Make&>;

    AllocationSweep(Make make, Show show, const Operation<Object>& operation)
        : make_(std::move(make)), show_(std::move(show)), operation_(operation) {}

    void run() {
        learnWhatIsExpected();
        LogCapture log;
        for (const bool logged : {false, true}) {
            std::optional<LoggingDisabled> disabled;
            if (!logged) disabled.emplace();
            fillWhatIsKeptForTheProgram(log);
            for (const Failing failing : {Failing::ONE, Failing::ALL_LATER}) {
                std::size_t succeeding = 0;
                while (meetFailure(log, succeeding, failing)) ++succeeding;
                EXPECT_GT(succeeding, 0u) << operation_.name() << " takes no memory";
                if (testing::Test::HasFailure()) return;
            }
        }
    }

private:
    void learnWhatIsExpected() {
        auto object = make_();
        before_ = show_(object);
        result_ = operation_(object);
        after_ = show_(object);
    }

    void fillWhatIsKeptForTheProgram(LogCapture& log) {
        auto object = make_();
        operation_(object);
        log.take();
    }

    // Whether an allocation was left to fail.
    bool meetFailure(LogCapture& log, std::size_t succeeding, Failing failing) {
        SCOPED_TRACE(testing::Message() << operation_.name() << ": after " << succeeding
                                        << " allocations " << failing);
        const auto inUse = allocationsInUse();
        bool failed = false;
        {
            auto object = make_();
            if (!callWithFailure(object, succeeding, failing)) {
                EXPECT_EQ(show_(object), before_) << "changed by a failed call";
                EXPECT_EQ(operation_(object), result_) << "of the next call";
            }
            failed = FailingAllocations::anyFailed();
            EXPECT_EQ(show_(object), after_);
        }
        log.take();
        EXPECT_EQ(allocationsInUse(), inUse) << "leaks";
        return failed;
    }

    // Whether the operation did its work.
    bool callWithFailure(Object& object, std::size_t succeeding, Failing failing) {
        std::string result;
        try {
            const FailingAllocations limit(succeeding, failing);
            result = operation_(object);
        } catch (const std::bad_alloc&) {
            return false;
        }
        EXPECT_EQ(result, result_) << "although the call passed";
        return true;
    }

    Make make_;
    Show show_;
    const Operation<Object>& operation_;
    std::string before_;
    std::string result_;
    std::string after_;
};

/// Holds every operation of a table against every point at which memory can run out.
template <typename Make, typename Show>
void expectUnchangedWhileMemoryLacks(
    const Make& make, const Show& show,
    const std::vector<Operation<std::invoke_result_t<const Make&>>>& operations) {
    for (const auto& operation : operations) {
        AllocationSweep<std::decay_t<Make>, std::decay_t<Show>>(make, show, operation).run();
    }
}

/// Lets `print` write to a stream while memory runs out at each point: it must write `whole`, or
/// tell by the stream or by std::bad_alloc that there is only a part of it.
template <typename Print>
void expectNoCutText(const std::string& whole, const Print& print) {
    for (const Failing failing : {Failing::ONE, Failing::ALL_LATER}) {
        std::size_t succeeding = 0;
        for (bool failed = true; failed; ++succeeding) {
            std::ostringstream os;
            bool thrown = false;
            try {
                const FailingAllocations limit(succeeding, failing);
                print(os);
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            failed = FailingAllocations::anyFailed();
            if (os) {
                EXPECT_EQ(os.str(), thrown ? whole.substr(0, os.str().size()) : whole);
            }
        }
        EXPECT_GT(succeeding, 1u) << whole << " takes no memory";
    }
}

}  // namespace tavrin::httpclient_core::test
