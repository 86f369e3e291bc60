#pragma once

#include <string>

namespace platform {

/// MD5 (RFC 1321) as 32 lower-case hexadecimal digits.
std::string md5(const std::string& bytes);

/// MD5 of a file's bytes, read in pieces. Raises as Files.h tells.
std::string md5OfFile(const std::wstring& path);

} // namespace platform
