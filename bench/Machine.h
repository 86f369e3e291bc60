#pragma once

#include <cstdint>
#include <string>

/// What a measurement asks of the machine itself.
namespace machine {

/// Once, before anything else.
void prepare();

/// Fetches a path from 127.0.0.1:80 into a file with nothing but blocking receives and writes, `chunk` bytes at a time.
/// Returns the bytes of the whole answer.
std::int64_t plainDownload(const std::string& path, const std::wstring& file, std::int32_t chunk);

/// The same as an event-driven program has to: a socket that does not block, and one receive for each event that tells
/// of bytes, as WSAAsyncSelect posts them; poll() where there are no messages.
std::int64_t eventDownload(const std::string& path, const std::wstring& file, std::int32_t chunk);

std::int64_t residentBytes();
std::int64_t peakResidentBytes();
std::int32_t openHandles();

/// Processor time of this process so far.
double processorSeconds();

/// A file that may be written over.
std::wstring scratchFile();

} // namespace machine
