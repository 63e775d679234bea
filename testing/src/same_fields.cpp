#include "same_fields.h"

#include <algorithm>

namespace tavrin::httpclient_testing::detail {

bool sameFields(const httpclient_core::HttpHeaders& one,
                const httpclient_core::HttpHeaders& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

}  // namespace tavrin::httpclient_testing::detail
