#pragma once

#include "platform/Clock.h"

class LinuxClock final : public Clock
{
public:
    LinuxClock();
    [[nodiscard]] LocalTime localTime() override;
    [[nodiscard]] qint64 monotonicMilliseconds() override;
    void sleepMilliseconds(qint64 milliseconds) override;
};
