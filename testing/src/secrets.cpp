#include "secrets.h"

#include <algorithm>
#include <utility>

#include "ascii.h"

namespace tavrin::httpclient_testing::detail {
namespace {

// One where they overlap.
Secrets merged(Secrets secrets) {
    std::sort(secrets.begin(), secrets.end(),
              [](const Secret& one, const Secret& other) { return one.begin < other.begin; });
    Secrets apart;
    for (const Secret& secret : secrets) {
        if (apart.empty() || secret.begin >= apart.back().end) {
            apart.push_back(secret);
        } else {
            Secret& last = apart.back();
            const bool isSame = last.begin == secret.begin && last.end == secret.end;
            last.isNumber = isSame && (last.isNumber || secret.isNumber);
            last.end = std::max(last.end, secret.end);
        }
    }
    return apart;
}

}  // namespace

void addAll(Secrets& secrets, const Secrets& ofPiece, std::size_t offset) {
    for (const Secret& secret : ofPiece) {
        secrets.push_back({secret.begin + offset, secret.end + offset, secret.isNumber});
    }
}

void add(Secrets& secrets, std::size_t begin, std::size_t end) {
    if (begin < end) secrets.push_back({begin, end});
}

std::string replaced(std::string_view text, Secrets secrets) {
    std::string shown;
    std::size_t copied = 0;
    secrets = merged(std::move(secrets));
    for (const Secret& secret : secrets) {
        shown.append(text, copied, secret.begin - copied);
        const char* const quote = secret.isNumber ? "\"" : "";
        shown.append(quote).append(BLANKED).append(quote);
        copied = secret.end;
    }
    return shown.append(text, copied);
}

std::string overwritten(std::string text, Secrets secrets) {
    secrets = merged(std::move(secrets));
    for (const Secret& secret : secrets) {
        for (std::size_t at = secret.begin; at < secret.end; ++at) {
            if (!secret.isNumber) {
                text[at] = '*';
            } else if (isDigit(text[at])) {
                text[at] = '1';
            }
        }
    }
    return text;
}

}  // namespace tavrin::httpclient_testing::detail
