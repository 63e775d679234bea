#include "tls_error.h"

#include <openssl/err.h>

#include <array>

namespace tavrin::httpclient_testing::detail {

std::string tlsError() {
    std::array<char, 256> text{};
    ERR_error_string_n(ERR_get_error(), text.data(), text.size());
    return text.data();
}

}  // namespace tavrin::httpclient_testing::detail
