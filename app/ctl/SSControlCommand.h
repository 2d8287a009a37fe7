#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <span>
#include <utility>
#include <vector>

class QCommandLineParser;

/// One option of the command line.
struct SSControlOption
{
    const char *name = nullptr;  ///< without the dashes
    const char *value = nullptr; ///< what its value is called in the help; null for a switch
    const char *help = nullptr;
    bool mayBeEmpty = false; ///< whether an empty value makes sense
};

/// What the user asked of one command: well-formed by the command's row, but no more checked.
class SSControlInvocation
{
public:
    SSControlInvocation(QStringList operands, const QCommandLineParser &options)
        : m_operands(std::move(operands)), m_options(options)
    {
    }

    [[nodiscard]] const QStringList &operands() const { return m_operands; }
    [[nodiscard]] bool isSet(const char *option) const;
    /// The last value given; none for an option that was not given.
    [[nodiscard]] std::optional<QString> value(const char *option) const;

private:
    QStringList m_operands;
    const QCommandLineParser &m_options;
};

/// What a command found out. With a failure and nothing else there is no answer.
struct SSControlAnswer
{
    /// For programs; an absent value is null, never left out.
    QJsonObject json;
    /// For people: lines, the last one without a line end.
    QString text;
    /// Why there is no answer, or no good one; for people.
    std::optional<QString> failure;

    [[nodiscard]] static SSControlAnswer failed(const QString &reason)
    {
        SSControlAnswer answer;
        answer.failure = reason;
        return answer;
    }
};

/// One command: a row of the table of commands.
struct SSControlCommand
{
    const char *name;
    const char *operands; ///< as the usage line shows them; empty for none
    int fewestOperands;
    int mostOperands;
    const char *summary;     ///< one line
    const char *description; ///< paragraphs
    std::span<const SSControlOption> options;
    const char *examples; ///< lines
    /// What is wrong with the invocation, beyond what this row says; null for nothing to check.
    std::optional<QString> (*fault)(const SSControlInvocation &);
    /// Runs with the platform installed; may block on the directory and the web interface.
    SSControlAnswer (*run)(const SSControlInvocation &);
    /// What the user is told before it runs and asks him for anything; null for nothing.
    std::optional<QString> (*warning)() = nullptr;
};

namespace SSControlCommands {

// One in each file; the table puts them together.
[[nodiscard]] const SSControlCommand &discover();
[[nodiscard]] const SSControlCommand &settings();
[[nodiscard]] const SSControlCommand &user();
[[nodiscard]] const SSControlCommand &enrollStatus();
[[nodiscard]] const SSControlCommand &url();
[[nodiscard]] const SSControlCommand &cache();
[[nodiscard]] const SSControlCommand &compare();
[[nodiscard]] const SSControlCommand &offline();
[[nodiscard]] const SSControlCommand &key();
[[nodiscard]] const SSControlCommand &flag();
[[nodiscard]] const SSControlCommand &fileVault();

/// Every command, in the order of the help.
[[nodiscard]] const std::vector<const SSControlCommand *> &all();
/// The command of that name, null for none.
[[nodiscard]] const SSControlCommand *find(const QString &name);

} // namespace SSControlCommands
