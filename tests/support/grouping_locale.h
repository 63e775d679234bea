#pragma once

#include <locale>
#include <string>

namespace tavrin::httpclient_core::test {

/// While it lives, the global C++ locale separates every digit of a number from the next one: 1234
/// is written "1.2.3.4" by each stream made meanwhile, and so is a hexadecimal number.
class GroupingLocale {
public:
    GroupingLocale() {
        // The count of 1 tells the locale not to delete the facet, which outlives every stream
        // here.
        static EveryDigitApart facet(1);
        previous_ = std::locale::global(std::locale(std::locale::classic(), &facet));
    }

    ~GroupingLocale() { std::locale::global(previous_); }

    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    class EveryDigitApart : public std::numpunct<char> {
    public:
        using std::numpunct<char>::numpunct;
        ~EveryDigitApart() override = default;

    protected:
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };

    std::locale previous_;
};

}  // namespace tavrin::httpclient_core::test
