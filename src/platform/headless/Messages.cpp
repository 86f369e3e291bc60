#include "platform/Messages.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>

#include "platform/headless/Loop.h"

namespace {

struct Timer {
    std::uint64_t due = 0;
    std::uint32_t interval = 0;
    std::function<void()> callback;
};

std::mutex queueLock; // lookup threads post too
std::deque<std::function<void()>> queue;
std::vector<headless::MessageSource> sources;
std::map<platform::WindowHandle, platform::WindowProcedure> windows;
std::map<std::uint32_t, Timer> timers;
std::uint64_t now = 0;
std::uint32_t lastId = 0;
std::function<void(std::exception_ptr)> escapeHandler;

bool dispatchOne() {
    std::function<void()> action;
    {
        std::lock_guard lock(queueLock);
        if (queue.empty()) return false;
        action = std::move(queue.front());
        queue.pop_front();
    }
    platform::guarded(action);
    return true;
}

/// Lets the sources look for work; false if none of them can ever report again.
bool askSources(int milliseconds) {
    bool alive = false;
    for (std::size_t i = 0; i < sources.size(); ++i) alive = sources[i](milliseconds) || alive;
    return alive;
}

} // namespace

namespace headless {

bool refuseWindows = false;
std::vector<ShownBox> boxes;
std::deque<std::int32_t> answers;
std::function<void(const ShownBox&)> whileBoxIsUp;

void resetLoop() {
    {
        std::lock_guard lock(queueLock);
        queue.clear();
    }
    windows.clear();
    refuseWindows = false;
    timers.clear();
    now = 0;
    escapeHandler = nullptr;
    boxes.clear();
    answers.clear();
    whileBoxIsUp = nullptr;
}

void post(std::function<void()> action) {
    std::lock_guard lock(queueLock);
    queue.push_back(std::move(action));
}

void postMessage(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
    post([=] {
        auto found = windows.find(window);
        if (found == windows.end() || !found->second) return;
        auto procedure = found->second; // the handler may destroy the window
        procedure(window, message, wParam, lParam);
    });
}

void addMessageSource(MessageSource source) { sources.push_back(std::move(source)); }

void advance(std::uint32_t milliseconds) {
    const std::uint64_t target = now + milliseconds;
    for (;;) {
        auto next = std::min_element(timers.begin(), timers.end(),
                                     [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
        if (next == timers.end() || next->second.due > target) break;
        now = std::max(now, next->second.due);
        next->second.due += next->second.interval;
        auto callback = next->second.callback; // the handler may stop the timer
        platform::guarded(callback);
        platform::pumpMessages();
    }
    now = std::max(now, target); // a handler may have turned the clock itself
}

bool pumpUntil(const std::function<bool()>& done, int milliseconds) {
    using namespace std::chrono;
    const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    bool isLastLook = false; // after the time, which may have gone by with others on the processor
    while (!done()) {
        if (dispatchOne()) continue;
        if (isLastLook) return false;
        isLastLook = steady_clock::now() >= end;
        askSources(isLastLook ? 0 : 1);
    }
    return true;
}

} // namespace headless

namespace platform {

WindowHandle createHiddenWindow(const std::wstring&) {
    if (headless::refuseWindows) return 0;
    windows[++lastId] = nullptr;
    return lastId;
}

bool destroyHiddenWindow(WindowHandle window) { return windows.erase(window) == 1; }

void hookWindow(WindowHandle window, WindowProcedure procedure) {
    if (auto found = windows.find(window); found != windows.end()) found->second = std::move(procedure);
}

std::int32_t callFormerProcedure(WindowHandle, std::uint32_t, std::uint32_t, std::int32_t) { return 0; }

void unhookWindow(WindowHandle window) { hookWindow(window, nullptr); }

void pumpMessages() {
    askSources(0);
    while (dispatchOne()) askSources(0);
}

void workAside(const std::function<void()>& work) { work(); } // nobody else asks anything of these windows

void waitMessages() {
    while (!dispatchOne()) {
        if (!askSources(10)) {
            std::lock_guard lock(queueLock);
            if (queue.empty()) throw headless::Stuck{};
        }
    }
}

void runMessageLoop() {
    for (;;) waitMessages();
}

std::uint32_t startTimer(std::uint32_t milliseconds, std::function<void()> callback) {
    timers[++lastId] = {now + milliseconds, milliseconds, std::move(callback)};
    return lastId;
}

void stopTimer(std::uint32_t id) { timers.erase(id); }

void setEscapeHandler(std::function<void(std::exception_ptr)> handler) { escapeHandler = std::move(handler); }

void guarded(const std::function<void()>& callback) {
    try {
        callback();
    } catch (const headless::ProcessEnded&) {
        throw;
    } catch (const headless::Stuck&) {
        throw;
    } catch (...) {
        if (!escapeHandler) throw;
        try {
            escapeHandler(std::current_exception());
        } catch (const headless::ProcessEnded&) {
            throw;
        } catch (...) {
            // It could not even be told of, for want of memory perhaps.
        }
    }
}

} // namespace platform
