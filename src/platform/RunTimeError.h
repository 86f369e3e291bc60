#pragma once

#include <cstdint>
#include <exception>
#include <string>

/// A run-time error: the one thing that this program throws for a failure that its caller may handle.
///
/// `Number` is a small platform-independent number for failures of the program and its files (see the constants), a
/// Winsock code for failures of the network. `Source` names the operation that raised it, as in "CSocketMaster.Connect",
/// and is empty where nobody needs it. `Description` is a sentence for a person.
struct RunTimeError : std::exception {
    std::int32_t Number;
    std::wstring Source;
    std::wstring Description;

    explicit RunTimeError(std::int32_t number, std::wstring source = {});
    RunTimeError(std::int32_t number, std::wstring source, std::wstring description);

    const char* what() const noexcept override;

private:
    std::string narrow;
};

/// The numbers that the program's own operations raise; RunTimeError(number) fills in the text of each.
namespace errors {
inline constexpr std::int32_t invalidCall = 5;         // "Invalid procedure call or argument"
inline constexpr std::int32_t overflow = 6;            // "Overflow"
inline constexpr std::int32_t outOfMemory = 7;         // "Out of memory"
inline constexpr std::int32_t subscriptOutOfRange = 9; // "Subscript out of range"
inline constexpr std::int32_t typeMismatch = 13;       // "Type mismatch"
inline constexpr std::int32_t badFileNumber = 52;      // "Bad file name or number"
inline constexpr std::int32_t fileNotFound = 53;       // "File not found"
inline constexpr std::int32_t deviceIOError = 57;      // "Device I/O error"
inline constexpr std::int32_t diskFull = 61;           // "Disk full"
inline constexpr std::int32_t inputPastEnd = 62;       // "Input past end of file"
inline constexpr std::int32_t tooManyFiles = 67;       // "Too many files"
inline constexpr std::int32_t permissionDenied = 70;   // "Permission denied"
inline constexpr std::int32_t pathFileAccess = 75;     // "Path/File access error"
inline constexpr std::int32_t pathNotFound = 76;       // "Path not found"
inline constexpr std::int32_t objectNotSet = 91;       // "Object variable not set"
inline constexpr std::int32_t invalidPropertyValue = 380; // "Invalid property value"
inline constexpr std::int32_t duplicateKey = 457;      // "This key is already associated with an element of this collection"
inline constexpr std::int32_t invalidPicture = 481;    // "Invalid picture"
} // namespace errors
