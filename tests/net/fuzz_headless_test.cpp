#include "../../fuzz/fuzzDownload.cpp"
#include "NetTest.h"
#include "support/headless/Corpus.h"

/// The kept inputs of the fuzzers, once each.

namespace {

TEST(Fuzz, TheKeptAnswersOfDownloads) { replayCorpus("download", fuzzDownload); }

} // namespace
