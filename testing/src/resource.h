#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "httpclient_testing/served_content.h"

namespace tavrin::httpclient_testing::detail {

// What a path has at the moment: one version of its content, with the validators it is served with.
struct Resource {
    explicit Resource(ServedContent first);

    // Puts `next` in the place of the content.
    void replace(ServedContent next);
    // Goes on to another version, of a size that is `sizeChange` bytes different.
    void change(std::int64_t sizeChange, bool keepValidators);

    ServedContent content;
    std::string etag;  // without quotes
    std::time_t lastModified = 0;
};

}  // namespace tavrin::httpclient_testing::detail
