#pragma once

#include <gmock/gmock.h>

#include <exception>
#include <ostream>
#include <string>
#include <typeinfo>
#include <utility>

namespace tavrin::httpclient_core::test {

/// Matches a callable that throws an exception of exactly the type `Exception`, with that text.
///
/// testing::ThrowsMessage() accepts derived types too, and a promise of std::logic_error is not
/// kept by a std::out_of_range.
template <typename Exception>
class ThrowsExactlyMatcher {
public:
    using is_gtest_matcher = void;

    explicit ThrowsExactlyMatcher(std::string text) : text_(std::move(text)) {}

    template <typename Callable>
    bool MatchAndExplain(const Callable& callable, std::ostream* os) const {
        try {
            callable();
        } catch (const std::exception& error) {
            if (os) *os << "throws " << typeid(error).name() << " \"" << error.what() << '"';
            return typeid(error) == typeid(Exception) && error.what() == text_;
        } catch (...) {
            if (os) *os << "throws what is no std::exception";
            return false;
        }
        if (os) *os << "throws nothing";
        return false;
    }

    void DescribeTo(std::ostream* os) const {
        *os << "throws exactly " << typeid(Exception).name() << " \"" << text_ << '"';
    }

    void DescribeNegationTo(std::ostream* os) const {
        *os << "does not throw exactly " << typeid(Exception).name() << " \"" << text_ << '"';
    }

private:
    std::string text_;
};

template <typename Exception>
ThrowsExactlyMatcher<Exception> ThrowsExactly(std::string text) {
    return ThrowsExactlyMatcher<Exception>(std::move(text));
}

}  // namespace tavrin::httpclient_core::test
