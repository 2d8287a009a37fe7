#pragma once

#include "security/SSSecureData.h"
#include "tests/support/FakePlatform.h"

#include <QByteArray>
#include <QStringList>

#include <memory>

/// The bytes of a text in UTF-16 little-endian.
inline std::shared_ptr<SSSecureData> password(const char *utf8)
{
    QByteArray bytes;
    for (const QChar character : QString::fromUtf8(utf8)) {
        bytes.append(static_cast<char>(character.unicode() & 0xffU));
        bytes.append(static_cast<char>(character.unicode() >> 8U));
    }
    return SSSecureData::dataWithData(SSSecure::bytes(bytes));
}

/// A platform whose tools answer as the test says.
class ToolFixture : public FakePlatform
{
public:
    /// Every tool prints this.
    void print(const QByteArray &output) const
    {
        FakeChildProcesses::Answer answer;
        answer.output = output;
        childProcesses->answer = [answer](const FakeChildProcesses::Run &) { return answer; };
    }
    /// No tool can be started.
    void failWith(const QString &description) const
    {
        FakeChildProcesses::Answer answer;
        answer.launchError = ChildProcessError{ChildProcessError::Code::NotFound, description};
        childProcesses->answer = [answer](const FakeChildProcesses::Run &) { return answer; };
    }

    [[nodiscard]] qsizetype runs() const { return childProcesses->runs.size(); }
    /// The program of the last run and its arguments.
    [[nodiscard]] QStringList lastRun() const
    {
        if (childProcesses->runs.isEmpty())
            return {};
        const auto &run = childProcesses->runs.last();
        return QStringList(run.executable) + run.arguments.value_or(QStringList());
    }

    /// The lines of the log but for the function scopes and the runner's own.
    [[nodiscard]] QStringList linesWithLookUp() const
    {
        QStringList result = log->lines();
        result.removeIf([](const QString &line) {
            return line.startsWith(QLatin1String("[Debug]")) ||
                   line.startsWith(QLatin1String("[Info]: Executing: ")) ||
                   line.startsWith(QLatin1String("[Error]: Execute error: "));
        });
        return result;
    }
    /// Nor with those of looking a user up.
    [[nodiscard]] QStringList lines() const
    {
        QStringList result = linesWithLookUp();
        result.removeIf([](const QString &line) {
            return line.startsWith(QLatin1String("[Info]: UserInfo: "));
        });
        return result;
    }
    /// What the log holds at the normal level.
    [[nodiscard]] QStringList normalLines(const std::function<void()> &work) const
    {
        SSLogger::sharedInstance()->setLogLevel(1);
        log->clear();
        work();
        SSLogger::sharedInstance()->setLogLevel(2);
        return lines();
    }
};
