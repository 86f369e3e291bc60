#include "program/Person.h"

namespace person {

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
