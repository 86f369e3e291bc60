#pragma once

#include <string>
#include <string_view>

namespace updater {

/// SHA-256 (FIPS 180-4) as 64 lower-case hexadecimal digits.
std::string sha256(std::string_view bytes);

/// True if `signature` is one of `text` by ECDSA on the curve P-256 with SHA-256 (FIPS 186-4). `key` is the public
/// point, x and y of 32 bytes each; `signature` is r and s of 32 bytes each, with the highest byte first. Throws
/// std::runtime_error where the platform cannot check one.
bool isSignedBy(std::string_view key, std::string_view text, std::string_view signature);

} // namespace updater
