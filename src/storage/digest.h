#pragma once
// A digest that names a file's content, to tell the same file when it comes again.

#include <string>
#include <string_view>

namespace vantorel {

// BLAKE2b-256 of bytes (libsodium), as 64 lower-case hexadecimal digits.
std::string ContentDigest(std::string_view bytes);

}  // namespace vantorel
