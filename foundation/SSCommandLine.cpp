#include "foundation/SSCommandLine.h"

#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "platform/Platform.h"

#include <QByteArray>
#include <QStringDecoder>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

namespace {

using Code = ChildProcessError::Code;

/// Overwrites by stores that the compiler keeps: a tool may have printed a password.
void wipe(std::span<std::byte> bytes)
{
    volatile std::byte *byte = bytes.data();
    for (std::size_t i = 0; i < bytes.size(); ++i)
        byte[i] = std::byte{0};
}

bool speaksOfPassword(const QString &argument)
{
    // An all-capitals spelling is let through on purpose.
    return argument.contains(QLatin1String("password")) ||
           argument.contains(QLatin1String("Password"));
}

void logCommand(const QString &command, const QStringList &arguments)
{
    if (std::any_of(arguments.begin(), arguments.end(), speaksOfPassword))
        SSLog(1, SSMessageType::Info, "Executing: '%@' with arguments '%@'", command,
              SSHelper::stringWithRepeatString(QStringLiteral("*"), 8));
    else
        SSLog(1, SSMessageType::Info, "Executing: '%@' with arguments '%@'", command, arguments);
}

/// Absent for bytes that are no UTF-8.
std::optional<QString> decoded(std::span<const std::byte> bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(QByteArrayView(reinterpret_cast<const char *>(bytes.data()),
                                                 static_cast<qsizetype>(bytes.size())));
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace

SSCommandResult SSCommandLine::shellExecuteWithCommand(const QString &command,
                                                       const QStringList &arguments)
{
    return shellExecuteWithCommand(command, arguments, std::nullopt);
}

SSCommandResult
SSCommandLine::shellExecuteWithCommand(const QString &command, const QStringList &arguments,
                                       const std::optional<Environment> &environment)
{
    return shellExecuteWithCommand(command, arguments, environment, std::nullopt);
}

SSCommandResult
SSCommandLine::shellExecuteWithCommand(const QString &command, const QStringList &arguments,
                                       const std::optional<Environment> &environment,
                                       const std::optional<QString> &stdInput)
{
    // Not even looked at when nothing is logged.
    if (const auto logger = SSLogger::sharedInstance(); logger && logger->logLevel() != 0)
        logCommand(command, arguments);
    const auto runner = initWithCommand(command, arguments, environment);
    SSCommandResult result;
    if (!runner || !runner->launchWithInput(stdInput, result.error) || result.error)
        return result;
    runner->waitUntilExit();
    result.output = runner->resultAndReturnError(result.error);
    return result;
}

std::unique_ptr<SSCommandLine>
SSCommandLine::initWithCommand(const QString &command, const std::optional<QStringList> &arguments,
                               const std::optional<Environment> &environment)
{
    const SSFunctionLog scope("-[SSCommandLine initWithCommand:arguments:environment:]");
    const auto &processes = Platform::current().childProcesses;
    auto task = processes ? processes->makeProcess({command, arguments, environment}) : nullptr;
    if (!task) {
        SSLog(1, SSMessageType::Error, "Unable create NSTask object.");
        return nullptr;
    }
    if (command.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable create NSURL object.");
        return nullptr;
    }
    return std::make_unique<SSCommandLine>(Key(), std::move(task));
}

SSCommandLine::SSCommandLine(Key, std::unique_ptr<ChildProcess> task) : m_task(std::move(task)) {}

SSCommandLine::~SSCommandLine()
{
    // Both are asked for, whatever has become of the program.
    m_task->terminate();
    m_task->interrupt();
}

bool SSCommandLine::launchWithInput(const std::optional<QString> &input,
                                    std::optional<ChildProcessError> &error)
{
    const SSFunctionLog scope("-[SSCommandLine launchWithInput:error:]");
    ChildProcessResult result = m_task->launch(input.has_value());
    if (result && input) {
        QByteArray bytes = input->toUtf8();
        const auto view =
            std::as_writable_bytes(std::span(bytes.data(), static_cast<std::size_t>(bytes.size())));
        result = m_task->writeInput(view);
        wipe(view);
    }
    if (result)
        return true;
    // A pipe that cannot be had is logged and, unlike the rest, no error.
    switch (result.error().code) {
    case Code::InputPipe:
        SSLog(1, SSMessageType::Error, "Unable create input NSPipe object.");
        return false;
    case Code::OutputPipe:
        SSLog(1, SSMessageType::Error, "Unable create output NSPipe object.");
        return false;
    case Code::OutputHandle:
        SSLog(1, SSMessageType::Error, "Unable create output NSFileHandle object.");
        return false;
    case Code::InputHandle:
        SSLog(1, SSMessageType::Error, "Unable create input NSFileHandle object.");
        return false;
    default:
        SSLog(1, SSMessageType::Error, "Execute error: %@", result.error().localizedDescription);
        error = result.error();
        return false;
    }
}

bool SSCommandLine::running() const
{
    return m_task->isRunning();
}

void SSCommandLine::waitUntilExit()
{
    m_task->waitUntilExit();
}

std::optional<QString> SSCommandLine::resultAndReturnError(std::optional<ChildProcessError> &error)
{
    const SSFunctionLog scope("-[SSCommandLine resultAndReturnError:]");
    auto bytes = m_task->readOutput();
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Result error: %@", bytes.error().localizedDescription);
        error = bytes.error();
        return std::nullopt;
    }
    auto text = decoded(bytes.value());
    wipe(bytes.value());
    return text;
}
