#include "tests/integration/filevault/ChildProcessTest.h"

#include <QFile>
#include <QTest>

#include <span>

#include <sys/stat.h>
#include <unistd.h>

ChildProcessRequest ChildProcessTest::script(const QString &text)
{
    return {shell(), QStringList({QStringLiteral("-c"), text}), std::nullopt};
}

QStringList ChildProcessTest::ownChildren()
{
    QStringList result;
    QFile list(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
    if (!list.open(QIODevice::ReadOnly))
        return {QStringLiteral("the kernel lists no children")};
    for (const QByteArray &id : list.readAll().split(' ')) {
        QFile status(QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(id)));
        if (!id.isEmpty() && status.open(QIODevice::ReadOnly)) {
            const QByteArray line = status.readAll();
            result.append(QString::fromLatin1(id + ' ' + line.mid(line.lastIndexOf(')') + 2, 1)));
        }
    }
    return result;
}

QString ChildProcessTest::outputOf(const ChildProcessRequest &request,
                                   const std::optional<QByteArray> &input)
{
    const auto process = m_factory->makeProcess(request);
    const auto failure = [](const ChildProcessError &error) {
        return QLatin1Char('<') + error.localizedDescription + QLatin1Char('>');
    };
    if (const auto started = process->launch(input.has_value()); !started)
        return failure(started.error());
    if (input) {
        const auto written = process->writeInput(
            std::as_bytes(std::span(input->constData(), static_cast<std::size_t>(input->size()))));
        if (!written)
            return failure(written.error());
    }
    process->waitUntilExit();
    const auto output = process->readOutput();
    if (!output)
        return failure(output.error());
    return QString::fromUtf8(reinterpret_cast<const char *>(output.value().data()),
                             static_cast<qsizetype>(output.value().size()));
}

ChildProcessTest::Code ChildProcessTest::errorOf(const QString &program)
{
    const auto process = m_factory->makeProcess({program, std::nullopt, std::nullopt});
    const auto started = process->launch(false);
    return started ? Code::OutputFailed : started.error().code;
}

QString ChildProcessTest::file(const char *name, const QByteArray &contents, mode_t mode) const
{
    QFile made(m_folder.filePath(QString::fromUtf8(name)));
    if (!made.open(QIODevice::WriteOnly) || made.write(contents) != contents.size() ||
        fchmod(made.handle(), mode) != 0)
        return {};
    return made.fileName();
}

void ChildProcessTest::initTestCase()
{
    QVERIFY(m_folder.isValid());
    QVERIFY(ownChildren().isEmpty());
}

void ChildProcessTest::init()
{
    m_diagnostics.clear();
    m_factory = std::make_unique<LinuxChildProcessFactory>(
        [this](unsigned, DiagnosticType, const QString &text) { m_diagnostics.append(text); });
}

void ChildProcessTest::cleanup()
{
    // whatever was run, nothing is left of it
    QTRY_VERIFY2_WITH_TIMEOUT(ownChildren().isEmpty(),
                              qPrintable(ownChildren().join(QLatin1Char(','))), limitMs);
}
