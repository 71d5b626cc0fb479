#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

namespace velmora::bench {

/// The processor time of all threads that a running process has or had.
std::chrono::nanoseconds processorTime(pid_t process);

/// REQUIRES: at least one value.
double median(std::vector<double> values);

void printLoadAverage();

}  // namespace velmora::bench
