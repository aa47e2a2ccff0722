#include <benchmarks/support/Measure.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <fstream>
#include <malloc.h>
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

[[gnu::noinline]] double measured(const std::function<void()> &work, Clock clock)
{
    const double start = clock();
    work();
    return clock() - start;
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
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << '5';
}

double medianOf(std::vector<double> samples)
{
    return quantileOf(std::move(samples), 0.5);
}

double quantileOf(std::vector<double> samples, double share)
{
    if (samples.empty())
        return 0;
    const auto count = static_cast<double>(samples.size());
    const double place = std::clamp(std::ceil(count * share) - 1, 0.0, count - 1);
    const auto wanted = samples.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(samples.begin(), wanted, samples.end());
    return *wanted;
}

bool hasArgument(int argc, char **argv, std::string_view argument)
{
    return std::any_of(argv, argv + argc, [&](const char *given) { return given == argument; });
}

} // namespace Tolm::Benchmarks
