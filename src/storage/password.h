#pragma once
// Tester passwords are never stored as typed: a document holds only an Argon2id hash, which
// can be checked but not read back.

#include <string>
#include <string_view>

namespace vantorel {

// The text stored for a typed password; empty when hashing failed (out of memory).
std::string HashPassword(std::string_view typed);

// True when typed is the password whose hash is stored.
bool CheckPassword(std::string_view stored, std::string_view typed);

// The version of libsodium the program runs with.
std::string SodiumVersion();

}  // namespace vantorel
