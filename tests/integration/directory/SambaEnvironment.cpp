#include "tests/integration/directory/SambaEnvironment.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <utility>

#include <csignal>

namespace {
QStringList logLines;
}

namespace SambaEnvironment {

QStringList takeLog()
{
    return std::exchange(logLines, {});
}

std::shared_ptr<DirectoryNode> makeNode(const DirectorySettings &settings,
                                        std::chrono::milliseconds limit)
{
    return makeActiveDirectoryNode(
        settings,
        [](unsigned, DiagnosticType, const QString &message) {
            logLines.append(message);
            qInfo("log: %s", qPrintable(message));
        },
        limit);
}

DirectorySettings simpleSettings(const QString &password, const QTemporaryDir &folder)
{
    QFile file(folder.filePath(QStringLiteral("password")));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(password.toUtf8() + '\n');
    DirectorySettings settings;
    settings.domain = QStringLiteral("corp.example.test");
    settings.bind = DirectorySettings::Bind::Simple;
    settings.bindName = QStringLiteral("CN=John Doe,CN=Users,DC=corp,DC=example,DC=test");
    settings.bindPasswordFile = file.fileName();
    settings.tlsAuthorityFile = path(QStringLiteral("private/tls/ca.pem"));
    return settings;
}

QString path(const QString &relative)
{
    return qEnvironmentVariable("SAMBA_DIR") + u'/' + relative;
}

QString run(const QString &program, const QStringList &arguments, const QString &input)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted())
        return {};
    process.write(input.toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(120'000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qWarning("%s: %s", qPrintable(program), process.readAll().constData());
        return {};
    }
    const QString output = QString::fromUtf8(process.readAll());
    return output.isNull() ? QStringLiteral("") : output;
}

void signalController(int number)
{
    ::kill(-qEnvironmentVariableIntValue("SAMBA_PID"), number);
}

Variable::Variable(const char *name, const QString &value) : m_name(name), m_old(qgetenv(name))
{
    qputenv(name, value.toLocal8Bit());
}

Variable::~Variable()
{
    qputenv(m_name, m_old);
}

qsizetype threadCount()
{
    return QDir(QStringLiteral("/proc/self/task"))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
        .size();
}

qsizetype descriptorCount()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

} // namespace SambaEnvironment
