#pragma once

#include "platform/headless/Loop.h"
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
