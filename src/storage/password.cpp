#include "storage/password.h"

#include <sodium.h>

#include <stdexcept>

namespace vantorel {
namespace {

void EnsureSodium() {
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        throw std::runtime_error("libsodium could not be initialised");
}

}  // namespace

std::string HashPassword(std::string_view typed) {
    EnsureSodium();
    char hash[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str(hash, typed.data(), typed.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        return {};
    return hash;
}

bool CheckPassword(std::string_view stored, std::string_view typed) {
    EnsureSodium();
    if (stored.empty() || stored.size() >= crypto_pwhash_STRBYTES)
        return false;
    std::string hash(stored);
    return crypto_pwhash_str_verify(hash.c_str(), typed.data(), typed.size()) == 0;
}

std::string SodiumVersion() {
    return sodium_version_string();
}

}  // namespace vantorel
