#pragma once

#include <QtGlobal>

/// A moment in the computer's local time zone, with the zone's offset at that moment.
struct LocalTime
{
    int year = 1970;
    int month = 1; ///< 1 to 12
    int day = 1;   ///< 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int utcOffsetSeconds = 0; ///< east of Greenwich is positive
};

/// Time as the program sees it. Tests install a clock that they turn by hand.
class Clock
{
public:
    virtual ~Clock() = default;

    /// The wall clock's time. Touches no file after the first call.
    [[nodiscard]] virtual LocalTime localTime() = 0;

    /// Milliseconds of a clock that never goes back; only differences mean something.
    [[nodiscard]] virtual qint64 monotonicMilliseconds() = 0;

    /// Blocks the calling thread.
    virtual void sleepMilliseconds(qint64 milliseconds) = 0;
};
