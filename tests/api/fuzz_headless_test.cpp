#include "../../fuzz/fuzzAnswer.cpp"
#include "../../fuzz/fuzzSettings.cpp"
#include "../../fuzz/fuzzText.cpp"
#include "../../fuzz/fuzzXml.cpp"
#include "support/headless/Corpus.h"

/// The kept inputs of the fuzzers, once each.
TEST(Fuzz, TheKeptAnswersOfTheService) { replayCorpus("answer", fuzzAnswer); }
TEST(Fuzz, TheKeptBodiesOfAnswers) { replayCorpus("xml", fuzzXml); }
TEST(Fuzz, TheKeptSettings) { replayCorpus("settings", fuzzSettings); }
TEST(Fuzz, TheKeptTexts) { replayCorpus("text", fuzzText); }
