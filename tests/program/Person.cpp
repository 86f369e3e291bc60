#include "program/Person.h"

#include "support/TestDesktop.h"

namespace person {

void settle() {
    testDesktop::pumpUntil([] { return false; }, 50);
}

void once(std::function<bool()> holds, std::function<void()> action) {
    later(
        [holds = std::move(holds), action = std::move(action)] {
            if (holds()) {
                action();
            } else {
                once(holds, action);
            }
        },
        1);
}

} // namespace person
