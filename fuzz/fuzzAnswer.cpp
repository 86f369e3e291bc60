#include "fuzzAnswer.h"

#include <algorithm>
#include <cstdlib>

#include "api/CVHAPI.h"
#include "core/modMisc.h"
#include "net/modSocketMaster.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/Person.h"
#include "program/Program.h"
#include "program/Service.h"
#include "state/modGlobals.h"
#include "ui/frmQuickStart.h"
#include "ui/windows.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

std::vector<std::string> answerPieces(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(data[at], size - at - 1);
        if (length > 0) pieces.emplace_back(reinterpret_cast<const char*>(data) + at + 1, length);
        at += 1 + length;
    }
    return pieces;
}

/// While it lives, somebody closes the guide that a login opens: its modal loop would wait for ever.
class GuideCloser {
public:
    GuideCloser() {
        [[maybe_unused]] static const bool added = [] {
            headless::addMessageSource([](int) {
                if (present && frmQuickStart.isLoaded()) headless::post([] { frmQuickStart.Unload(); });
                return present;
            });
            return true;
        }();
        present = true;
    }
    ~GuideCloser() { present = false; }

private:
    static inline bool present = false;
};

/// Asks for the gallery tree and lets the answer come in whole.
void ask(Service& site) {
    const std::size_t before = site.requests.size();
    getGalleries();
    headless::pumpUntil([&] { return site.requests.size() > before && site.hasSentAll(); }, 500);
    headless::pumpUntil([] { return false; }, 1);
}

} // namespace

void fuzzAnswer(const std::uint8_t* data, std::size_t size) {
    headless::reset();
    program::start();
    const GuideCloser somebody;
    {
        Service site;
        site.replies = {{"method=vh.getGalleries", {answerPieces(data, size)}}};
        try {
            ask(site);
        } catch (const headless::ProcessEnded&) { // an update's end is an answer's good right
        }
        site.replies.clear();
        gAPI = std::make_unique<CVHAPI>();
        galleries.clear();
        ask(site);
        require(galleries.size() == 2);
    }
    program::forget();
    require(InstanceCount == 0);
}

#ifdef FUZZER
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzAnswer(data, size);
    return 0;
}
#endif
