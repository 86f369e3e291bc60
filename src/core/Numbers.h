#pragma once

#include <cstdint>
#include <string>

/// Numbers and their texts. A text is numeric if it is, between blanks, a sign, digits with one decimal point, and an
/// exponent (E or D), of which all but the digits may be missing. The decimal point is "." whatever the user's locale.

/// Whole number nearest to `value`, halves to the even neighbour. Raises overflow (6) outside the type's range.
std::int16_t toInteger(double value);
std::int32_t toLong(double value);

/// The same of a text; raises typeMismatch (13) if it is not numeric.
std::int16_t toInteger(const std::wstring& text);
std::int32_t toLong(const std::wstring& text);

/// Raises typeMismatch (13), or overflow (6) beyond the range of a double.
double toDouble(const std::wstring& text);

bool isNumeric(const std::wstring& text);

/// The number that the text begins with, leading blanks skipped; 0 if it begins with none. Raises nothing.
double Val(const std::wstring& text);

/// The whole number nearest to `value`, halves to the even neighbour.
double roundHalfEven(double value);

/// A single-precision number in its shortest usual form: seven significant digits, no zeros or point at the end.
std::wstring singleText(float value);
