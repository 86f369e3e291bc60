#pragma once

#include <string>

/// The ANSI code page: how text becomes bytes for the registry, the shell and the wire, and back. The program's text is
/// std::wstring, its bytes are std::string; only these two functions turn one into the other.
namespace platform {

/// Bytes of the text in the system's ANSI code page. Lossy: a character outside of it becomes its best fit or "?".
std::string toAnsi(const std::wstring& text);

/// Text of the bytes in the system's ANSI code page. Every byte string has one; nothing fails.
std::wstring fromAnsi(const std::string& bytes);

} // namespace platform
