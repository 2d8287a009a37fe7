#pragma once

#include "platform/Diagnostics.h"
#include "platform/linux/cryptography/KnownAnswers.h"

#include <mutex>

/// Checks once, when it is first asked, that what the adapter computes is right; one line in the
/// log when it is not. Any thread.
class SelfTest
{
public:
    /// Gives the name of what is wrong, null when nothing is.
    using Check = const char *(*)();

    explicit SelfTest(DiagnosticSink diagnostics = {}, Check check = KnownAnswers::firstWrong);

    [[nodiscard]] bool passed();

private:
    DiagnosticSink m_diagnostics;
    Check m_check;
    std::once_flag m_checked;
    bool m_passed = false;
};
