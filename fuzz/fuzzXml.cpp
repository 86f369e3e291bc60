#include "Fuzz.h"
#include "GuideCloser.h"
#include "api/modXML.h"
#include "net/modSocketMaster.h"
#include "platform/Text.h"
#include "platform/headless/State.h"
#include "program/Person.h"
#include "program/Program.h"
#include "program/Service.h"
#include "state/modGlobals.h"

/// Hands any text to the parser of answers, with the whole program and a site behind it. A report is an answer's good
/// right, and so is an update's end; afterwards a genuine answer must be understood, and nothing may stay behind.
inline void fuzzXml(const std::uint8_t* data, std::size_t size) {
    headless::reset();
    program::start();
    const GuideCloser somebody;
    {
        Service site;
        try {
            ParseXML(platform::fromAnsi({reinterpret_cast<const char*>(data), size}));
            headless::pumpUntil([&] { return site.hasSentAll(); }, 100);
            headless::pumpUntil([] { return false; }, 1);
        } catch (const headless::ProcessEnded&) {
        }
        galleries.clear();
        ParseXML(platform::fromAnsi(Service::galleries));
        require(galleries.size() == 2);
    }
    program::forget();
    require(InstanceCount == 0);
}

FUZZ_TARGET(fuzzXml)
