#include "http_date.h"

#include <array>
#include <cstdio>

namespace tavrin::httpclient_testing::detail {

std::string httpDate(std::time_t when) {
    static const std::array<const char*, 7> DAYS = {"Sun", "Mon", "Tue", "Wed",
                                                    "Thu", "Fri", "Sat"};
    static const std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm parts{};
    gmtime_r(&when, &parts);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                  DAYS.at(static_cast<std::size_t>(parts.tm_wday)), parts.tm_mday,
                  MONTHS.at(static_cast<std::size_t>(parts.tm_mon)), parts.tm_year + 1900,
                  parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text.data();
}

}  // namespace tavrin::httpclient_testing::detail
