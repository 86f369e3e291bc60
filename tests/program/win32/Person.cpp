#include "program/Person.h"

#include <windows.h>

#include <memory>
#include <set>

#include "platform/Messages.h"

namespace person {

namespace {

std::set<std::uint32_t> due;

} // namespace

void later(std::function<void()> action, int milliseconds) {
    auto id = std::make_shared<std::uint32_t>();
    *id = platform::startTimer(static_cast<std::uint32_t>(milliseconds), [id, action = std::move(action)] {
        const auto run = action; // stopping the timer destroys the one that runs
        due.erase(*id);
        platform::stopTimer(*id);
        run();
    });
    due.insert(*id);
}

void forgetWhatIsDue() {
    for (const std::uint32_t id : due) platform::stopTimer(id);
    due.clear();
}

std::int32_t sitePort() { return 80; }

void siteListens(std::int32_t) {} // names and port are the network namespace's

} // namespace person
