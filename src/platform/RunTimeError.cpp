#include "platform/RunTimeError.h"

#include <utility>

namespace {

std::wstring textOf(std::int32_t number) {
    switch (number) {
    case errors::invalidCall: return L"Invalid procedure call or argument";
    case errors::overflow: return L"Overflow";
    case errors::outOfMemory: return L"Out of memory";
    case errors::subscriptOutOfRange: return L"Subscript out of range";
    case errors::typeMismatch: return L"Type mismatch";
    case errors::badFileNumber: return L"Bad file name or number";
    case errors::fileNotFound: return L"File not found";
    case errors::deviceIOError: return L"Device I/O error";
    case errors::diskFull: return L"Disk full";
    case errors::inputPastEnd: return L"Input past end of file";
    case errors::tooManyFiles: return L"Too many files";
    case errors::permissionDenied: return L"Permission denied";
    case errors::pathFileAccess: return L"Path/File access error";
    case errors::pathNotFound: return L"Path not found";
    case errors::objectNotSet: return L"Object variable not set";
    case errors::invalidPropertyValue: return L"Invalid property value";
    case errors::duplicateKey: return L"This key is already associated with an element of this collection";
    case errors::invalidPicture: return L"Invalid picture";
    default: return L"Application-defined or object-defined error";
    }
}

} // namespace

RunTimeError::RunTimeError(std::int32_t number, std::wstring source)
    : RunTimeError(number, std::move(source), textOf(number)) {}

RunTimeError::RunTimeError(std::int32_t number, std::wstring source, std::wstring description)
    : Number(number), Source(std::move(source)), Description(std::move(description)) {
    narrow = std::to_string(Number) + ' ';
    for (wchar_t c : Description) narrow += c < 128 ? static_cast<char>(c) : '?';
}

const char* RunTimeError::what() const noexcept { return narrow.c_str(); }
