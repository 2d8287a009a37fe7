#include "tests/integration/accounts/Processes.h"

#include <QFile>
#include <QProcess>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

int run(const QStringList &command, const QByteArray &input)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(command.first(), command.mid(1));
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120'000) || process.exitStatus() != QProcess::NormalExit)
        return -1;
    return process.exitCode();
}

QString asUser(quint32 userId, const std::function<QString()> &work)
{
    int ends[2];
    if (pipe(ends) != 0)
        return QStringLiteral("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        QString answer = QStringLiteral("cannot become that user");
        if (setgroups(0, nullptr) == 0 && setgid(userId) == 0 && setuid(userId) == 0)
            answer = work();
        const QByteArray bytes = answer.toUtf8();
        const ssize_t written =
            write(ends[1], bytes.constData(), static_cast<std::size_t>(bytes.size()));
        _exit(written == bytes.size() ? 0 : 1);
    }
    close(ends[1]);
    QFile reader;
    QByteArray answer;
    if (reader.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        answer = reader.readAll();
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? QString::fromUtf8(answer) : QStringLiteral("the process failed");
}
