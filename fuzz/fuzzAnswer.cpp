#include "fuzzAnswer.h"

#include "Fuzz.h"
#include "GuideCloser.h"
#include "api/CVHAPI.h"
#include "core/modMisc.h"
#include "net/modSocketMaster.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/Person.h"
#include "program/Program.h"
#include "program/Service.h"
#include "state/modGlobals.h"
#include "ui/windows.h"

namespace {

/// An answer's segments, none of them empty.
std::vector<std::string> segmentsOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> segments = piecesOf(data, size);
    std::erase(segments, std::string());
    return segments;
}

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
        site.replies = {{"method=vh.getGalleries", {segmentsOf(data, size)}}};
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

FUZZ_TARGET(fuzzAnswer)
