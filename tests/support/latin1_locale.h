#pragma once

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>

#include "support/temporary_directory.h"

namespace tavrin::httpclient_core::test {

/// While it lives, the global C++ locale takes the bytes from 0xC0 to 0xFE for the letters of
/// ISO 8859-1, of which 0xC4 and 0xE4 are one in two cases. So does the C library's, where the
/// system has what localedef needs to make one.
class Latin1Locale {
public:
    Latin1Locale()
        : previousForC_(std::setlocale(LC_CTYPE, nullptr)),
          previous_(std::locale::global({std::locale::classic(), facet()})) {
        setForC();
    }

    ~Latin1Locale() {
        std::locale::global(previous_);
        std::setlocale(LC_CTYPE, previousForC_.c_str());
    }

    Latin1Locale(const Latin1Locale&) = delete;
    Latin1Locale& operator=(const Latin1Locale&) = delete;

private:
    class Latin1Letters : public std::ctype<char> {
    public:
        // The count of 1 tells the locales not to delete the facet, which outlives them.
        Latin1Letters() : std::ctype<char>(table().data(), false, 1) {}
        ~Latin1Letters() override = default;

    protected:
        char do_tolower(char c) const override {
            return isUpper(c) ? static_cast<char>(c + 0x20) : std::ctype<char>::do_tolower(c);
        }
        char do_toupper(char c) const override {
            return isUpper(static_cast<char>(c - 0x20)) ? static_cast<char>(c - 0x20)
                                                        : std::ctype<char>::do_toupper(c);
        }

    private:
        static bool isUpper(char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte >= 0xC0 && byte <= 0xDE;
        }

        static const std::array<mask, table_size>& table() {
            static const std::array<mask, table_size> masks = [] {
                std::array<mask, table_size> result{};
                std::copy_n(classic_table(), table_size, result.begin());
                std::fill(result.begin() + 0xC0, result.begin() + 0xDF, upper | alpha | print);
                std::fill(result.begin() + 0xDF, result.begin() + 0xFF, lower | alpha | print);
                return result;
            }();
            return masks;
        }
    };

    static Latin1Letters* facet() {
        static Latin1Letters letters;
        return &letters;
    }

    static void setForC() {
        const TemporaryDirectory directory;
        const std::string command = "localedef -i de_DE -f ISO-8859-1 " + directory.file("latin1");
        if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) return;
        // Without it the C library looks for locales nowhere but in the system's directory.
        setenv("LOCPATH", directory.path().c_str(), 1);
        std::setlocale(LC_CTYPE, "latin1");
        unsetenv("LOCPATH");
    }

    const std::string previousForC_;
    std::locale previous_;
};

}  // namespace tavrin::httpclient_core::test
