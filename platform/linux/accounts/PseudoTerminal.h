#pragma once

#include <optional>
#include <span>

/// A terminal pair of our own: the program that runs on it sits at the one end, we at the other.
/// Owns both ends, neither of which an executed program inherits by itself. What was typed and not
/// read is thrown away at the end. One thread.
class PseudoTerminal
{
public:
    /// Opens both ends; `error()` tells how that went.
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /// A number of errno; 0 when the terminal is there.
    [[nodiscard]] int error() const { return m_error; }

    [[nodiscard]] int ownEnd() const { return m_own; }
    [[nodiscard]] int programEnd() const { return m_program; }
    /// To be called once the program has it: only then is the program's end of the talk seen.
    void closeProgramEnd();
    /// Hangs up: the program's session gets SIGHUP.
    void close();

    /// Whether the terminal shows what is typed. None when it does not say.
    [[nodiscard]] std::optional<bool> echoes() const;

    enum class Read { Some, NothingNow, NoMore };
    /// Never waits. `size` becomes the number of bytes put into `buffer`, 0 unless Some.
    [[nodiscard]] Read read(std::span<char> buffer, std::size_t &size);

    /// Types `text` and the return key, in one go and never waiting. False when the terminal did
    /// not take all of it.
    [[nodiscard]] bool typeLine(std::span<const char> text);

private:
    int m_own = -1;
    int m_program = -1;
    int m_error = 0;
};
