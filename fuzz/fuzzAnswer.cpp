#include "Running.h"
#include "ui/windows.h"

/// Feeds the API client an answer of the service in pieces of any size, with the whole program behind it. Whatever
/// comes, nothing may escape from a handler, no object may stay behind, and a genuine answer on a new connection of a
/// new client must be understood.
///
/// The input: pieces as Fuzz.h tells.
inline void fuzzAnswer(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> segments = piecesOf(data, size);
    std::erase(segments, std::string());
    withProgram([&](Service& site) {
        site.replies = {{"method=vh.getGalleries", {segments}}};
        try {
            getGalleries();
            finish(site, 0);
        } catch (const headless::ProcessEnded&) { // an update's end is an answer's good right
        }
        site.replies.clear();
        renewClient();
        getGalleries();
        require(headless::pumpUntil([] { return galleries.size() == 2; }));
    });
}

FUZZ_TARGET(fuzzAnswer)
