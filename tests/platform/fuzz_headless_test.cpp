#include "../../fuzz/fuzzPicture.cpp"
#include "support/headless/Corpus.h"

TEST(Fuzz, TheKeptPictures) { replayCorpus("picture", fuzzPicture); }
