#pragma once

#include "filevault/SSPasswordMask.h"
#include "platform/ChildProcess.h"

#include <QString>
#include <QStringList>

#include <optional>

class SSSecureData;

/// A password as text for the time of a command, as it is and escaped for a script; wiped at the
/// end.
class SSToolPassword
{
public:
    /// `password` is text in UTF-16 little-endian; what is not is logged, and no tool may get it.
    explicit SSToolPassword(const SSSecureData &password);
    ~SSToolPassword();
    SSToolPassword(const SSToolPassword &) = delete;
    SSToolPassword &operator=(const SSToolPassword &) = delete;

    [[nodiscard]] bool isText() const { return m_isText; }
    [[nodiscard]] const QString &text() const { return m_text; }
    [[nodiscard]] const QString &escaped() const { return m_escaped; }

private:
    QString m_text;
    QString m_escaped;
    bool m_isText = false;
};

/// What a tool answered. Success is judged by the output as it is, which is wiped at the end;
/// people get the masked one. One thread.
class SSToolAnswer
{
public:
    /// Runs the tool to its end. `passwords` are those that the arguments hold.
    SSToolAnswer(const QString &tool, const QStringList &arguments,
                 const SSPasswordMask &passwords = {});
    ~SSToolAnswer();
    SSToolAnswer(const SSToolAnswer &) = delete;
    SSToolAnswer &operator=(const SSToolAnswer &) = delete;

    /// The expect interpreter's, for a script that is wiped afterwards.
    [[nodiscard]] static SSToolAnswer ofScript(QString script, const SSPasswordMask &passwords);

    [[nodiscard]] bool hasFailed() const { return m_hasFailed; }
    /// It did not fail, and printed something.
    [[nodiscard]] bool hasOutput() const
    {
        return !m_hasFailed && m_output && !m_output->isEmpty();
    }
    /// False without an output.
    [[nodiscard]] bool contains(const QString &text) const
    {
        return m_output && m_output->contains(text);
    }

    [[nodiscard]] const std::optional<QString> &output() const { return m_output; }
    [[nodiscard]] const std::optional<QString> &maskedOutput() const { return m_maskedOutput; }
    /// Absent when there is none.
    [[nodiscard]] const std::optional<QString> &errorDescription() const { return m_error; }

private:
    std::optional<QString> m_output;
    std::optional<QString> m_maskedOutput;
    std::optional<QString> m_error;
    bool m_hasFailed = false;
};
