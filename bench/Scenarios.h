#pragma once

#include <cstdint>

/// What is measured, against the server of bench/server.py. Each fails with an exception if it does not do its work.
namespace scenarios {

inline constexpr std::int64_t mebibyte = 1024 * 1024;

/// CDownload of so many bytes into a file.
void download(std::int64_t bytes);

/// The same with bare loops, and the chunk size that CDownload has: one that waits in each call, and one that is told of
/// each arrival.
void plainLoop(std::int64_t bytes);
void eventLoop(std::int64_t bytes);

struct Growth {
    std::int64_t bytes;
    std::int32_t handles;
};

/// Connects by name, sends a request, takes the answer and closes, over and over. What has grown since the first
/// rounds.
Growth cycles(std::int32_t rounds);

/// SendData of so many bytes at once to a reader that is slower. Processor seconds of the sending.
double sendToSlowReader(std::int64_t bytes);

} // namespace scenarios
