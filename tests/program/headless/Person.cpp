#include "program/Person.h"

#include <chrono>
#include <map>

#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"

namespace person {

namespace {

using std::chrono::steady_clock;
std::multimap<steady_clock::time_point, std::function<void()>> waiting;

} // namespace

/// Real time, since segments on a real connection need it: a source of messages that has them when they are due.
void later(std::function<void()> action, int milliseconds) {
    if (milliseconds == 0) {
        headless::post(std::move(action));
        return;
    }
    [[maybe_unused]] static const bool added = [] {
        headless::addMessageSource([](int) {
            const auto now = steady_clock::now();
            while (!waiting.empty() && waiting.begin()->first <= now) {
                headless::post(waiting.begin()->second);
                waiting.erase(waiting.begin());
            }
            return !waiting.empty();
        });
        return true;
    }();
    waiting.emplace(steady_clock::now() + std::chrono::milliseconds(milliseconds), std::move(action));
}

void forgetWhatIsDue() { waiting.clear(); }

std::int32_t sitePort() { return 0; }

void siteListens(std::int32_t port) {
    headless::redirectPort(80, static_cast<std::uint16_t>(port));
    for (const char* name : {"api", "images", "dl", "members"})
        headless::setHost(std::string(name) + ".velvetharbor.example", "127.0.0.1");
    headless::setHost("velvetharbor.example", "127.0.0.1");
}

} // namespace person
