#pragma once

#include "Fuzz.h"
#include "api/CVHAPI.h"
#include "net/modSocketMaster.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/Person.h"
#include "program/Program.h"
#include "program/Service.h"
#include "state/modGlobals.h"
#include "ui/frmQuickStart.h"

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

/// Runs a target with the whole program and a site behind it. No object may stay behind.
template <class Target> void withProgram(Target target) {
    headless::reset();
    program::start();
    const GuideCloser somebody;
    {
        Service site;
        target(site);
    }
    program::forget();
    require(InstanceCount == 0);
}

/// Lets what has been started come to its end.
inline void finish(Service& site, std::size_t requestsBefore) {
    headless::pumpUntil([&] { return site.requests.size() > requestsBefore && site.hasSentAll(); }, 500);
    headless::pumpUntil([] { return false; }, 1);
}

/// The program's client as after a start.
inline void renewClient() {
    gAPI = std::make_unique<CVHAPI>();
    galleries.clear();
}
