#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "Machine.h"
#include "Scenarios.h"
#include "platform/Messages.h"

/// The measurements of native.cpp without its library, in the same form.

namespace {

using scenarios::mebibyte;

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void report(const std::string& name, const std::string& figure, double value, const char* end) {
    std::printf("  {\"name\": \"%s\", \"%s\": %.3f}%s\n", name.c_str(), figure.c_str(), value, end);
    std::fflush(stdout);
}

} // namespace

int main() {
    constexpr int repetitions = 7;
    machine::prepare();
    std::printf("{\"benchmarks\": [\n");
    for (const std::int64_t size : {16, 256}) {
        const std::string suffix = "/" + std::to_string(size);
        scenarios::download(size * mebibyte);
        report("download" + suffix, "peakBytes", static_cast<double>(machine::peakResidentBytes()), ",");
    }
    for (int i = 0; i < repetitions; ++i) {
        const auto throughput = [](void (*how)(std::int64_t)) {
            return 256 * mebibyte / secondsOf([how] { how(256 * mebibyte); });
        };
        const std::pair<const char*, void (*)(std::int64_t)> loops[] = {{"download/256", scenarios::download},
                                                                        {"event/256", scenarios::eventLoop},
                                                                        {"plain/256", scenarios::plainLoop}};
        for (const auto& [name, how] : loops) {
            const double before = machine::processorSeconds();
            report(name, "bytes_per_second", throughput(how), ",");
            report(name, "processorSeconds", machine::processorSeconds() - before, ",");
        }
    }
    const scenarios::Growth growth = scenarios::cycles(10'000);
    report("cycles/10000", "grownBytes", static_cast<double>(growth.bytes), ",");
    report("cycles/10000", "grownHandles", growth.handles, ",");
    for (const std::int64_t size : {16, 64})
        report("slow/" + std::to_string(size), "processorSeconds", scenarios::sendToSlowReader(size * mebibyte),
               size == 64 ? "" : ",");
    std::printf("]}\n");
}
