#pragma once

#include "security/SSSecureData.h"
#include "tests/support/FakeChildProcesses.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

[[nodiscard]] inline QString utf16(const SSSecureData &password)
{
    QString text;
    const auto bytes = password.data();
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        text += QChar(static_cast<char16_t>(std::to_integer<unsigned>(bytes[i]) |
                                            std::to_integer<unsigned>(bytes[i + 1]) << 8U));
    }
    return text;
}

/// The disk encryption tools: what they answer, and what they were asked.
struct PlayedTools
{
    bool holdsSecureToken = true;
    bool diskPasswordValid = true;
    bool updates = true;
    std::optional<QString> failure;    ///< what an update prints that fails
    std::function<void()> duringCheck; ///< while a SecureToken is asked for
    std::function<void()> duringUpdate;

    /// "token NAME", "disk NAME PASSWORD", "update NAME PASSWORD ADMIN PASSWORD".
    QStringList asked;

    [[nodiscard]] FakeChildProcesses::Answer answer(const FakeChildProcesses::Run &run)
    {
        const QStringList arguments = run.arguments.value_or(QStringList());
        const QString operation = arguments.value(0);
        if (operation == QLatin1String("-secureTokenStatus")) {
            asked.append(QStringLiteral("token ") + arguments.value(1));
            if (duringCheck)
                duringCheck();
            return printed(holdsSecureToken ? "Secure token is ENABLED for user"
                                            : "Secure token is DISABLED for user");
        }
        if (operation == QLatin1String("-secureTokenOn")) {
            asked.append(QStringLiteral("update %1 %2 %3 %4")
                             .arg(arguments.value(1), arguments.value(3), arguments.value(5),
                                  arguments.value(7)));
            if (duringUpdate)
                duringUpdate();
            return printed(updates ? "- Done!" : failure.value_or(QString()).toUtf8());
        }
        static const QRegularExpression check(QStringLiteral(
            R"(spawn su - -f (\S+) -c "sudo /usr/sbin/diskutil .*-passphrase \\"(.*?)\\"";)"));
        const auto found = check.match(arguments.value(1));
        asked.append(found.hasMatch()
                         ? QStringLiteral("disk %1 %2").arg(found.captured(1), found.captured(2))
                         : run.executable);
        return printed(diskPasswordValid ? "\r\nPassphrase valid.\r\n" : "\r\nNo.\r\n");
    }

private:
    [[nodiscard]] static FakeChildProcesses::Answer printed(const QByteArray &output)
    {
        FakeChildProcesses::Answer answer;
        answer.output = output;
        return answer;
    }
};
