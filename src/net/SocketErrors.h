#pragma once

#include <cstdint>

/// The numbers that the socket objects raise beside the codes of the network library.
namespace socketErrors {
inline constexpr std::int32_t wrongProtocolOrState = 40006;
inline constexpr std::int32_t invalidArgument = 40014;
inline constexpr std::int32_t unsupportedType = 40018;
inline constexpr std::int32_t invalidState = 40020;
} // namespace socketErrors

/// Raises one of these numbers, or a code of the network library, with its text.
[[noreturn]] void raiseSocketError(std::int32_t number, const wchar_t* source);

/// Raises the network library's last error.
[[noreturn]] void raiseLastError(const wchar_t* source);
