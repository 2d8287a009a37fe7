#pragma once

#include "platform/linux/accounts/PseudoTerminal.h"

#include <optional>

#include <sys/types.h>

/// A child process that leads a session of its own on a PseudoTerminal, with nothing else of ours:
/// no descriptor but the terminal, no signal blocked or ignored, the root folder as its own. Owns
/// the process: it is gone and collected when this is, or, where the system does not let us end it,
/// collected by a thread later. One thread.
class TerminalProgram
{
public:
    /// Starts `path` and gives it the program's end of `terminal`, which outlives this. Both lists
    /// end with a null pointer. A program that cannot be executed ends with status 127.
    TerminalProgram(PseudoTerminal &terminal, const char *path, char *const *arguments,
                    char *const *environment);
    ~TerminalProgram();
    TerminalProgram(const TerminalProgram &) = delete;
    TerminalProgram &operator=(const TerminalProgram &) = delete;

    /// A number of errno; 0 when there is a process.
    [[nodiscard]] int error() const { return m_error; }
    [[nodiscard]] pid_t id() const { return m_id; }

    [[nodiscard]] bool hasExited();
    /// As wait() gives it. None before the end, and where the status was lost because the process
    /// ignores SIGCHLD.
    [[nodiscard]] std::optional<int> waitStatus() const { return m_waitStatus; }
    /// Readable once the program has ended; -1 where the system has no such descriptor.
    [[nodiscard]] int exitDescriptor() const { return m_exit; }

    /// Ends it: SIGTERM, 3 s later hanging up and SIGKILL, for which it has another second.
    void end();

private:
    [[nodiscard]] bool exitsWithin(int milliseconds);

    PseudoTerminal &m_terminal;
    pid_t m_id = -1;
    int m_exit = -1;
    int m_error = 0;
    bool m_hasExited = true;
    std::optional<int> m_waitStatus;
};
