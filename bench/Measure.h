// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <sys/resource.h>

// What every benchmark measures the same way: wall-clock seconds and the process's peak memory.
namespace kinloom::bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The process's peak resident memory so far, in megabytes (10^6 bytes, as file sizes are given).
inline double peakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0 / 1e6;
}

} // namespace kinloom::bench
