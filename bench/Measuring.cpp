#include "bench/Measuring.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

std::chrono::nanoseconds processorTime(pid_t process) {
    clockid_t clock = 0;
    timespec time{};
    const bool isRead =
        ::clock_getcpuclockid(process, &clock) == 0 && ::clock_gettime(clock, &time) == 0;
    viewerCheck(isRead, "a measured process runs until the benchmark ends it");
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void printLoadAverage() {
    std::string line;
    std::getline(std::ifstream("/proc/loadavg"), line);
    std::printf("load average: %s\n", line.c_str());
}

}  // namespace velmora::bench
