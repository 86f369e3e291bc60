#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "../../fuzz/fuzzAnswer.cpp"

/// The kept inputs of the fuzzer, once each.
TEST(Fuzz, TheKeptAnswersOfTheService) {
    const auto corpus = std::filesystem::path(__FILE__).parent_path() / "../../fuzz/corpus/answer";
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
        fuzzAnswer(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++inputs;
    }
    EXPECT_GT(inputs, 5);
}
