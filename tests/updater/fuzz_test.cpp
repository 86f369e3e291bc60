#include "../../fuzz/fuzzArchive.cpp"
#include "../support/headless/Corpus.h"

TEST(Fuzz, TheKeptArchives) { replayCorpus("archive", fuzzArchive); }
