#include "platform/linux/process/LinuxChildProcess.h"

#include "platform/linux/process/Pipe.h"
#include "platform/linux/process/ProgramStart.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

#include <poll.h>
#include <string.h>
#include <unistd.h>

namespace {

using Code = ChildProcessError::Code;
using Clock = std::chrono::steady_clock;

/// While it lives, a write to a pipe that nobody reads is an error for this thread and no signal.
class BrokenPipeGuard
{
public:
    BrokenPipeGuard()
    {
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&m_set);
        sigaddset(&m_set, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_set, &m_before);
    }
    ~BrokenPipeGuard()
    {
        // One that was pending before is somebody else's.
        const timespec atOnce{};
        while (!m_wasPending && sigtimedwait(&m_set, nullptr, &atOnce) < 0 && errno == EINTR)
            ;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard &) = delete;
    BrokenPipeGuard &operator=(const BrokenPipeGuard &) = delete;

private:
    sigset_t m_set{};
    sigset_t m_before{};
    bool m_wasPending = false;
};

} // namespace

LinuxChildProcess::LinuxChildProcess(ChildProcessRequest request, DiagnosticSink diagnostics)
    : m_request(std::move(request)), m_diagnostics(std::move(diagnostics))
{
}

LinuxChildProcess::~LinuxChildProcess()
{
    terminate();
}

ChildProcessResult LinuxChildProcess::launch(bool hasInput)
{
    if (m_process)
        return failure(Code::System, QStringLiteral("it was started before"));
    std::optional<Pipe> input;
    if (hasInput && !(input = Pipe::make()))
        return failure(Code::InputPipe, errorText(errno));
    std::optional<Pipe> output = Pipe::make();
    if (!output)
        return failure(Code::OutputPipe, errorText(errno));
    if (!setNonBlocking(output->reading))
        return failure(Code::OutputHandle, errorText(errno));
    auto process = startProgram(m_request, input ? &input->reading : nullptr, output->writing);
    if (!process)
        return Failure{process.error()};
    m_process = std::move(process.value());
    m_output = std::move(output->reading);
    if (input)
        m_input = std::move(input->writing);
    return std::monostate();
}

ChildProcessResult LinuxChildProcess::writeInput(std::span<const std::byte> bytes)
{
    const Descriptor input = std::exchange(m_input, Descriptor());
    if (!input.isOpen())
        return failure(Code::InputFailed, QStringLiteral("it has no input"));
    if (!setNonBlocking(input))
        return failure(Code::InputHandle, errorText(errno));
    const BrokenPipeGuard guard;
    while (!bytes.empty()) {
        const ssize_t count = ::write(input.number(), bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            waitForEvent(input.number());
            takeOutput();
            // Whoever the child left the other end to does not read it.
            if (isPatienceOver())
                return failure(Code::InputFailed, errorText(EPIPE));
        } else if (errno != EINTR) {
            return failure(Code::InputFailed, errorText(errno));
        }
    }
    return std::monostate();
}

bool LinuxChildProcess::isRunning()
{
    return m_process && !m_process->hasExited();
}

void LinuxChildProcess::waitUntilExit()
{
    while (isRunning()) {
        waitForEvent(-1);
        takeOutput();
    }
}

Result<ChildProcessOutput, ChildProcessError> LinuxChildProcess::readOutput()
{
    if (!m_process)
        return failure(Code::OutputFailed, QStringLiteral("it was not started"));
    for (;;) {
        // Asked before the pipe is read: what the child printed is in there once it has exited.
        const bool isOver = isPatienceOver();
        takeOutput();
        if (!m_output.isOpen())
            break;
        if (isOver) {
            if (m_diagnostics)
                m_diagnostics(1, DiagnosticType::Info,
                              QStringLiteral("A process that \"%1\" left behind keeps its output "
                                             "open. What it prints from now on is lost.")
                                  .arg(m_request.executable));
            m_output = Descriptor();
            break;
        }
        waitForEvent(-1);
    }
    if (m_readError)
        return failure(Code::OutputFailed, *m_readError);
    if (m_printed.isBeyondLimit())
        return failure(Code::OutputFailed,
                       QStringLiteral("it is longer than %1 bytes").arg(OutputBytes::limit));
    return m_printed.take();
}

void LinuxChildProcess::terminate()
{
    if (m_process)
        m_process->sendSignal(SIGTERM);
}

void LinuxChildProcess::interrupt()
{
    if (m_process)
        m_process->sendSignal(SIGINT);
}

void LinuxChildProcess::takeOutput()
{
    // More than a pipe can hold is a process that prints on and on; others want a turn as well.
    constexpr int turns = 64;
    std::array<std::byte, 16384> part{};
    for (int turn = 0; turn < turns && m_output.isOpen(); ++turn) {
        const ssize_t count = ::read(m_output.number(), part.data(), part.size());
        if (count > 0) {
            m_printed.append(std::span(part).first(static_cast<std::size_t>(count)));
            continue;
        }
        if (count < 0 && errno == EAGAIN)
            break;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            m_readError = errorText(errno);
        m_output = Descriptor();
    }
    explicit_bzero(part.data(), part.size());
}

void LinuxChildProcess::waitForEvent(int writable)
{
    // Negative numbers are left out by the call.
    const bool hasExited = !isRunning();
    std::array<pollfd, 3> events{pollfd{m_output.number(), POLLIN, 0}, pollfd{writable, POLLOUT, 0},
                                 pollfd{hasExited ? -1 : m_process->exitDescriptor(), POLLIN, 0}};
    int milliseconds = -1;
    if (hasExited)
        milliseconds = 100;
    else if (m_process->exitDescriptor() < 0)
        milliseconds = 20;
    ::poll(events.data(), events.size(), milliseconds);
}

bool LinuxChildProcess::isPatienceOver()
{
    if (isRunning())
        return false;
    if (!m_exitSeen)
        m_exitSeen = Clock::now();
    return Clock::now() - *m_exitSeen >= patience;
}

Failure<ChildProcessError> LinuxChildProcess::failure(ChildProcessError::Code code,
                                                      const QString &reason) const
{
    const QString &program = m_request.executable;
    switch (code) {
    case Code::InputFailed:
    case Code::InputHandle:
    case Code::InputPipe:
        return Failure{ChildProcessError{
            code,
            QStringLiteral("The input of \"%1\" cannot be written: %2").arg(program, reason)}};
    case Code::OutputFailed:
    case Code::OutputHandle:
    case Code::OutputPipe:
        return Failure{ChildProcessError{
            code, QStringLiteral("The output of \"%1\" cannot be read: %2").arg(program, reason)}};
    default:
        return Failure{ChildProcessError{
            code, QStringLiteral("The program \"%1\" cannot be started: %2").arg(program, reason)}};
    }
}
