#include "storage/digest.h"

#include <sodium.h>

#include <stdexcept>

namespace vantorel {

std::string ContentDigest(std::string_view bytes) {
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium could not be initialised");
    unsigned char hash[crypto_generichash_BYTES];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(bytes.data()),
                       bytes.size(), nullptr, 0);
    char hex[sizeof hash * 2 + 1];
    sodium_bin2hex(hex, sizeof hex, hash, sizeof hash);
    return hex;
}

}  // namespace vantorel
