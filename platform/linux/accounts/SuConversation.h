#pragma once

#include "platform/Result.h"
#include "platform/linux/accounts/SuAnswer.h"

#include <QByteArray>

#include <array>
#include <chrono>
#include <cstddef>
#include <span>

class PseudoTerminal;
class TerminalProgram;

/// One talk with su at a terminal of our own. What su printed is kept here, the start of it at
/// least, and wiped at the end. Used once.
class SuConversation
{
public:
    SuConversation() = default;
    ~SuConversation();
    SuConversation(const SuConversation &) = delete;
    SuConversation &operator=(const SuConversation &) = delete;

    /// Runs `program` for `account` and types `password` once, at the known prompt, when the
    /// terminal does not show what is typed. su is gone when this returns. What `printed` of the
    /// answer names belongs to this. An error is a number of errno: su was not started.
    [[nodiscard]] Result<SuRun, int> run(const QByteArray &program, const QByteArray &account,
                                         std::span<const char> password,
                                         std::chrono::steady_clock::time_point deadline);

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    [[nodiscard]] bool readAll(PseudoTerminal &terminal);
    /// One look at the terminal; a reason to break off, if there is one.
    [[nodiscard]] SuRun::Stop step(PseudoTerminal &terminal, std::span<const char> password);
    [[nodiscard]] bool isOddForLong();
    [[nodiscard]] bool isMidLine() const;
    [[nodiscard]] std::string_view printed() const { return {m_printed.data(), m_size}; }

    static constexpr std::size_t Capacity = 4096;
    std::array<char, Capacity> m_printed{};
    std::size_t m_size = 0;
    char m_last = '\n'; ///< the last one printed, kept or not
    bool m_wasTyped = false;
    bool m_wasRead = false;  ///< su has taken what was typed
    bool m_mustLook = false; ///< the terminal's settings are awaited, which nothing announces
    std::optional<TimePoint> m_oddSince;
};
