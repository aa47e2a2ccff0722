#pragma once

#include <functional>
#include <string_view>
#include <vector>

namespace Tolm::Benchmarks {

/// The CPU time that the calling thread has used, in seconds. Others on the machine do not count into it.
double cpuSeconds();

/// The time that has passed since some moment, in seconds.
double wallSeconds();

using Clock = double (*)();

/// What `work` takes, in seconds: of the calling thread's CPU time, or by another clock where others work for it. (A
/// function of this name that is not inlined, so that callgrind can be told to count only what it calls.)
double measured(const std::function<void()> &work, Clock clock = cpuSeconds);

/// The most and the present memory of this process, in megabytes.
long peakMegabytes();
long residentMegabytes();

/// Gives freed memory back to the system, and makes what is in use then count as the most so far.
void resetPeak();

double medianOf(std::vector<double> samples);

/// The sample that so large a share of them does not exceed: 0.99 for "99 %", 1 for the largest.
double quantileOf(std::vector<double> samples, double share);

/// Whether `argument` is among the program's; every program takes --tiny, which runs it only to show that it works.
bool hasArgument(int argc, char **argv, std::string_view argument);

} // namespace Tolm::Benchmarks
