#include "../../fuzz/fuzzAnswer.cpp"
#include "support/headless/Corpus.h"

/// The kept inputs of the fuzzer, once each.
TEST(Fuzz, TheKeptAnswersOfTheService) { replayCorpus("answer", fuzzAnswer); }
