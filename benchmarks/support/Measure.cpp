#include <benchmarks/support/Measure.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <string>

namespace Tolm::Benchmarks {

namespace {

double secondsOn(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

long statusMegabytes(const std::string &key)
{
    constexpr long KilobytesPerMegabyte = 1024;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size(), key) == 0)
            return std::stol(line.substr(key.size())) / KilobytesPerMegabyte;
    }
    return 0;
}

} // namespace

double cpuSeconds()
{
    return secondsOn(CLOCK_THREAD_CPUTIME_ID);
}

double wallSeconds()
{
    return secondsOn(CLOCK_MONOTONIC);
}

[[gnu::noinline]] double measured(const std::function<void()> &work)
{
    const double start = cpuSeconds();
    work();
    return cpuSeconds() - start;
}

long peakMegabytes()
{
    return statusMegabytes("VmHWM:");
}

long residentMegabytes()
{
    return statusMegabytes("VmRSS:");
}

void resetPeak()
{
    std::ofstream("/proc/self/clear_refs") << '5';
}

double medianOf(std::vector<double> samples)
{
    if (samples.empty())
        return 0;
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

bool hasArgument(int argc, char **argv, std::string_view argument)
{
    return std::any_of(argv, argv + argc, [&](const char *given) { return given == argument; });
}

} // namespace Tolm::Benchmarks
