#include "platform/linux/accounts/SuConversation.h"

#include "platform/linux/accounts/PseudoTerminal.h"
#include "platform/linux/accounts/TerminalProgram.h"

#include <QList>

#include <algorithm>
#include <string.h>

#include <poll.h>

namespace {

using Stop = SuRun::Stop;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// How long su may stand there in a way that is odd, but may yet turn into something known.
constexpr milliseconds patience(3000);

/// Waits until there is something to read or the program has ended, `longest` at most.
void wait(const PseudoTerminal &terminal, bool hasMore, const TerminalProgram &program,
          milliseconds longest)
{
    // A negative descriptor is passed over.
    std::array<pollfd, 2> sources{
        {{hasMore ? terminal.ownEnd() : -1, POLLIN, 0}, {program.exitDescriptor(), POLLIN, 0}}};
    poll(sources.data(), sources.size(), static_cast<int>(longest.count()));
}

} // namespace

SuConversation::~SuConversation()
{
    explicit_bzero(m_printed.data(), m_printed.size());
}

Result<SuRun, int> SuConversation::run(const QByteArray &program, const QByteArray &account,
                                       std::span<const char> password, TimePoint deadline)
{
    constexpr milliseconds look(10);
    constexpr milliseconds nap(100);

    PseudoTerminal terminal;
    if (terminal.error() != 0)
        return Failure{terminal.error()};
    // The shell of our choice keeps start-up files, and what they print or wait for, out of it.
    QList<QByteArray> words{"su", "-s", "/bin/true", "-c", "true", "-", account};
    QList<QByteArray> variables{"LC_ALL=C.UTF-8", "PATH=/usr/local/bin:/usr/bin:/bin", "TERM=dumb"};
    const auto pointers = [](QList<QByteArray> &texts) {
        QList<char *> list;
        for (QByteArray &text : texts)
            list.append(text.data());
        list.append(nullptr);
        return list;
    };
    const QList<char *> arguments = pointers(words);
    const QList<char *> environment = pointers(variables);
    TerminalProgram su(terminal, program.constData(), arguments.constData(),
                       environment.constData());
    if (su.error() != 0)
        return Failure{su.error()};

    SuRun run;
    for (;;) {
        const bool hasExited = su.hasExited(); // asked first: then nothing is printed any more
        const bool hasMore = readAll(terminal);
        if (hasExited)
            break;
        run.stop = step(terminal, password);
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (run.stop == Stop::None && left.count() <= 0)
            run.stop = Stop::TimeLimit;
        if (run.stop != Stop::None)
            break;
        milliseconds longest = left;
        if (m_mustLook)
            longest = look;
        else if (m_oddSince || su.exitDescriptor() < 0)
            longest = nap;
        wait(terminal, hasMore, su, std::min(longest, left));
    }
    su.end();
    run.printed = printed();
    run.wasTyped = m_wasTyped;
    run.waitStatus = su.waitStatus();
    return run;
}

bool SuConversation::readAll(PseudoTerminal &terminal)
{
    constexpr int mostReads = 16; // so that a program that never stops does not keep us here
    constexpr std::size_t chunkSize = 1024;
    std::array<char, chunkSize> chunk{};
    auto result = PseudoTerminal::Read::Some;
    for (int i = 0; i < mostReads && result == PseudoTerminal::Read::Some; ++i) {
        std::size_t size = 0;
        result = terminal.read(chunk, size);
        if (size == 0)
            continue;
        m_last = chunk[size - 1];
        const std::size_t kept = std::min(size, Capacity - m_size);
        std::copy_n(chunk.begin(), kept, m_printed.begin() + static_cast<std::ptrdiff_t>(m_size));
        m_size += kept;
    }
    explicit_bzero(chunk.data(), chunk.size());
    return result != PseudoTerminal::Read::NoMore;
}

Stop SuConversation::step(PseudoTerminal &terminal, std::span<const char> password)
{
    const std::optional<bool> echo = terminal.echoes();
    const bool isHidden = echo && !*echo;
    m_mustLook = isMidLine();

    if (m_wasTyped) {
        // The prompt's own line ends when the answer is read, or the echo comes back before that.
        m_wasRead = m_wasRead || !isHidden || m_size > SuPrompt.size();
        m_mustLook = m_mustLook && m_wasRead;
        return m_wasRead && isHidden && isMidLine() ? Stop::SecondQuestion : Stop::None;
    }
    if (SuPrompt.starts_with(printed())) {
        if (m_size < SuPrompt.size())
            return Stop::None;
        // The echo goes off after the prompt, and what was typed before that is thrown away.
        if (!isHidden)
            return isOddForLong() ? Stop::Echo : Stop::None;
        m_wasTyped = terminal.typeLine(password);
        m_mustLook = false;
        m_oddSince.reset();
        return m_wasTyped ? Stop::None : Stop::Terminal;
    }
    return (isHidden && isMidLine()) || isOddForLong() ? Stop::OtherPrompt : Stop::None;
}

bool SuConversation::isOddForLong()
{
    if (!m_oddSince)
        m_oddSince = Clock::now();
    return Clock::now() - *m_oddSince >= patience;
}

bool SuConversation::isMidLine() const
{
    return m_last != '\n' && m_last != '\r';
}
