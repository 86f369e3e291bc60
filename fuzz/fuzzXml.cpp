#include "Running.h"
#include "api/modXML.h"
#include "platform/Text.h"

/// Hands any text to the parser of answers, with the whole program and a site behind it. A report is an answer's good
/// right, and so is an update's end; afterwards a genuine answer must be understood, and nothing may stay behind.
inline void fuzzXml(const std::uint8_t* data, std::size_t size) {
    withProgram([&](Service& site) {
        try {
            ParseXML(platform::fromAnsi({reinterpret_cast<const char*>(data), size}));
            headless::pumpUntil([&] { return site.hasSentAll(); }, 100);
            headless::pumpUntil([] { return false; }, 1);
        } catch (const headless::ProcessEnded&) {
        }
        galleries.clear();
        ParseXML(platform::fromAnsi(Service::galleries));
        require(galleries.size() == 2);
    });
}

FUZZ_TARGET(fuzzXml)
