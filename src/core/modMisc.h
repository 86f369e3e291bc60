#pragma once

#include <cstdint>
#include <string>

#include "core/Strings.h"

/// Small functions that several rooms share.

/// Digits and ASCII letters stay, a blank becomes "+", any other character "%" and its ANSI code in upper-case
/// hexadecimal without a leading zero: a line feed is "%A". That short form is what the service reads.
std::wstring URLEncode(const std::wstring& text);

void array_push(Strings& array, const std::wstring& value);

/// Takes the first element off. An array of one element keeps it and gives nothing.
std::wstring array_shift(Strings& array);

/// Cuts the header off an answer, and tells whether it carries the service's mark, the line "Response-From: VHAPI".
/// Without an empty line there is no header: False, and the text stays whole.
bool validateHTMLHeader(std::wstring& text);

/// Screen height less work area height, in real pixels: 0 for a taskbar at the side.
std::int16_t getTaskbarHeight();

/// Screen width over height, rounded to 5 decimals.
float getScreenAspectRatio();

/// ASCII letters, digits, period, underscore, hyphen, and the backslash. An empty text passes.
bool isValidUsername(const std::wstring& text);

/// False for what cannot be examined, for whatever reason.
bool fileExists(const std::wstring& path);
bool dirExists(const std::wstring& path);
