#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

#include "response_head.h"

namespace tavrin::httpclient_curl::detail {

// Compares a body with the digest that its server announced (RFC 9530): the only thing that shows
// a body that changed under the same validator, or was cut where nothing else tells its end.
class BodyDigest {
public:
    // `expected` is what `function` is to give, in binary.
    BodyDigest(const EVP_MD* function, std::string expected);

    // Null if the response announces neither SHA-512 nor SHA-256 of its representation.
    static std::shared_ptr<BodyDigest> announcedBy(const ResponseHead& head);

    void update(const char* data, std::size_t size);

    // Whether everything that was given to update() is what was announced. Ends the calculation.
    bool matches();

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };

    std::string expected_;
    std::unique_ptr<EVP_MD_CTX, Free> context_;
};

}  // namespace tavrin::httpclient_curl::detail
