#include "platform/linux/core/LinuxClock.h"

#include <chrono>
#include <ctime>
#include <thread>

LinuxClock::LinuxClock()
{
    // localtime_r need not read the time zone by itself.
    tzset();
}

LocalTime LinuxClock::localTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    return {parts.tm_year + 1900,
            parts.tm_mon + 1,
            parts.tm_mday,
            parts.tm_hour,
            parts.tm_min,
            parts.tm_sec,
            static_cast<int>(parts.tm_gmtoff)};
}

qint64 LinuxClock::monotonicMilliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void LinuxClock::sleepMilliseconds(qint64 milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
