#pragma once

#include <string>

/// MD5 of the text's ANSI bytes, as 32 lower-case hexadecimal digits.
std::wstring md5String(const std::wstring& text);

/// MD5 of a file's bytes. Raises what reading the file raises.
std::wstring md5File(const std::wstring& path);
