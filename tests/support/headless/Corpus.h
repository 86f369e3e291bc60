#pragma once
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/// Feeds each kept input of a fuzzer's corpus, a folder below fuzz/corpus, to its target once.
inline void replayCorpus(const std::string& folder, void (*target)(const std::uint8_t*, std::size_t)) {
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QUILLORY_CORPUS "/" + folder)) {
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
        target(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++inputs;
    }
    EXPECT_GT(inputs, 5);
}
