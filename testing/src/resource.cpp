#include "resource.h"

#include <algorithm>

namespace tavrin::httpclient_testing::detail {
namespace {

// Long ago, so that Last-Modified is a strong validator.
constexpr std::time_t FIRST_MODIFIED = 1600000000;
constexpr std::time_t VERSION_AGE = 3600;

std::string etagOf(const ServedContent& content) {
    return "seed-" + std::to_string(content.seed) + "-size-" + std::to_string(content.size);
}

}  // namespace

Resource::Resource(ServedContent first)
    : content(first), etag(etagOf(first)), lastModified(FIRST_MODIFIED) {}

void Resource::replace(ServedContent next) {
    content = next;
    etag = etagOf(next);
    lastModified += VERSION_AGE;
}

void Resource::change(std::int64_t sizeChange, bool keepValidators) {
    ServedContent next = content;
    ++next.seed;
    const auto smaller = static_cast<std::uint64_t>(sizeChange < 0 ? -sizeChange : 0);
    next.size = sizeChange < 0 ? next.size - std::min(next.size, smaller)
                               : next.size + static_cast<std::uint64_t>(sizeChange);
    if (keepValidators) {
        content = next;
    } else {
        replace(next);
    }
}

}  // namespace tavrin::httpclient_testing::detail
