#pragma once

#include <functional>
#include <vector>

namespace Tolm::Benchmarks {

/// The CPU time that the calling thread has used, in seconds. Others on the machine do not count into it.
double cpuSeconds();

/// The time that has passed since some moment, in seconds.
double wallSeconds();

/// What `work` takes of the calling thread's CPU time, in seconds. (A function of this name that is not inlined, so
/// that callgrind can be told to count only what it calls.)
double measured(const std::function<void()> &work);

/// The most and the present memory of this process, in megabytes.
long peakMegabytes();
long residentMegabytes();

/// Makes the present memory count as the most so far.
void resetPeak();

double medianOf(std::vector<double> samples);

/// Whether the program runs only to show that it still works: argument --tiny.
bool isTiny(int argc, char **argv);

} // namespace Tolm::Benchmarks
