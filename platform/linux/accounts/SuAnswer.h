#pragma once

#include <QString>

#include <optional>
#include <string_view>

/// One run of su, as it was seen from the terminal.
struct SuRun
{
    /// Why we broke it off.
    enum class Stop {
        None,           ///< we did not: it ended by itself
        OtherPrompt,    ///< it asked, but not with the prompt that we know
        Echo,           ///< it asked while the terminal showed what is typed
        SecondQuestion, ///< it asked again
        TimeLimit,
        Terminal, ///< the terminal did not take the password
    };

    std::string_view printed; ///< the start of it
    bool wasTyped = false;    ///< whether it got the password
    Stop stop = Stop::None;
    std::optional<int> waitStatus; ///< as wait() gives it; none when it was lost
};

/// What su's prompt is, in a locale without translations.
inline constexpr std::string_view SuPrompt = "Password: ";

/// What a run of su means.
struct SuAnswer
{
    enum class Kind {
        Right,
        Refused, ///< wrong, or the account is locked, which only root can tell apart
        CannotTell
    };
    Kind kind = Kind::CannotTell;
    QString reason; ///< for CannotTell; no full stop

    /// Right is a status of 0 after the password was typed, and nothing else. Refused is exactly
    /// su's own words for it: they come only after PAM has said no. A login shell that fails, an
    /// account that has expired and a rule that keeps the caller out end with the same status, but
    /// print something else or nothing.
    [[nodiscard]] static SuAnswer of(const SuRun &run);
};
