#pragma once

#include <ctime>
#include <string>

namespace tavrin::httpclient_testing::detail {

// `when` in HTTP's date format, whatever the locale.
std::string httpDate(std::time_t when);

}  // namespace tavrin::httpclient_testing::detail
