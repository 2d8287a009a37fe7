#pragma once

#include "app/ctl/SSControlCommand.h"
#include "platform/PlatformFactory.h"

#include <functional>
#include <iosfwd>
#include <span>

/// The administrator's command line: reads the command, asks the platform, prints the answer.
class SSControl
{
public:
    enum ExitStatus { Answered = 0, Failed = 1, WrongUsage = 2 };

    using PlatformMaker = std::function<Platform(const PlatformOptions &)>;

    /// Answers go to `output`, everything else to `errors`. `makePlatform` is called once at most,
    /// for a command line that makes sense.
    SSControl(std::ostream &output, std::ostream &errors, PlatformMaker makePlatform);

    /// `arguments` as main() gets them. Returns the exit status. Main thread.
    [[nodiscard]] int run(std::span<const char *const> arguments, PlatformOptions options);

private:
    [[nodiscard]] SSControlAnswer answerOf(const SSControlCommand &command,
                                           const SSControlInvocation &invocation);
    [[nodiscard]] int finish(int status);
    [[nodiscard]] int complain(const QString &fault, const QString &command);
    void report(const char *kind, const QString &text);

    std::ostream &m_output;
    std::ostream &m_errors;
    PlatformMaker m_makePlatform;
};
