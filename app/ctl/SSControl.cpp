#include "app/ctl/SSControl.h"

#include "app/SSDiagnosticLog.h"
#include "app/ctl/SSControlArguments.h"
#include "app/ctl/SSControlErrors.h"
#include "app/ctl/SSControlHelp.h"
#include "app/ctl/SSControlText.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSLogger.h"
#include "platform/LogFile.h"

#include <QJsonDocument>

#include <algorithm>
#include <atomic>
#include <ostream>
#include <utility>

namespace {

/// Counts the errors that pass to the log.
DiagnosticSink counting(DiagnosticSink sink, const std::shared_ptr<std::atomic<int>> &errors)
{
    return [sink = std::move(sink), errors](unsigned level, DiagnosticType type,
                                            const QString &message) {
        if (type == DiagnosticType::Error)
            ++*errors;
        sink(level, type, message);
    };
}

} // namespace

SSControl::SSControl(std::ostream &output, std::ostream &errors, PlatformMaker makePlatform)
    : m_output(output), m_errors(errors), m_makePlatform(std::move(makePlatform))
{
}

int SSControl::run(std::span<const char *const> arguments, PlatformOptions options)
{
    const SSControlArguments parsed(arguments);
    if (parsed.isEmpty()) {
        m_errors << SSControlHelp::general().toStdString();
        return WrongUsage;
    }
    const SSControlCommand *const command = parsed.command();
    if (parsed.fault())
        return complain(*parsed.fault(), command ? QLatin1String(command->name) : QString());
    if (parsed.isSet("help")) {
        m_output << (command ? SSControlHelp::ofCommand(*command) : SSControlHelp::general())
                        .toStdString();
        return finish(Answered);
    }
    if (parsed.isSet("version")) {
        m_output << SSControlHelp::programName().toStdString() << ' ' << SS_VERSION << '\n';
        return finish(Answered);
    }

    const auto errors = std::make_shared<SSControlErrors>();
    const SSDiagnosticLog diagnostics;
    const auto reported = std::make_shared<std::atomic<int>>(0);
    options.createLogFile = false;
    options.ldifFile = parsed.value("ldif");
    options.defaultsFile = parsed.value("defaults");
    options.diagnostics = counting(diagnostics.sink(), reported);
    Platform platform = m_makePlatform(options);
    const std::shared_ptr<LogFile> logFile = std::exchange(platform.logFile, errors);
    Platform::install(&platform);

    const int reportedBefore = *reported;
    const quint32 level = SSDefaults::defaults()->getLogLevel();
    // Errors are heard of at every level: at the silent one they reach the terminal alone.
    if (const auto logger = SSLogger::sharedInstance())
        logger->setLogLevel(std::max(level, 1U));
    if (level > 0)
        errors->setLogFile(logFile);
    // What is wrong with the defaults is reported by the lookup that follows the first, which is
    // the level's; the log can take it then.
    diagnostics.open();
    (void)SSDefaults::defaults()->getLogLevel();
    const bool defaultsFailed = *reported != reportedBefore;

    SSControlAnswer answer;
    // Without the defaults that were asked for, the answer would be about others.
    if (options.defaultsFile && defaultsFailed)
        answer = SSControlAnswer::failed(QStringLiteral("the defaults file cannot be used"));
    else
        answer = answerOf(*command, parsed.invocation());

    for (const QString &message : errors->messages())
        report(answer.failure ? "" : "warning: ", message);
    if (answer.failure)
        report("", *answer.failure);
    if (parsed.isSet("json")) {
        if (!answer.json.isEmpty())
            m_output << QJsonDocument(answer.json).toJson(QJsonDocument::Indented).toStdString();
    } else if (!answer.text.isEmpty()) {
        m_output << SSControlText::printable(answer.text).toStdString() << '\n';
    }
    Platform::install(nullptr);
    return finish(answer.failure ? Failed : Answered);
}

SSControlAnswer SSControl::answerOf(const SSControlCommand &command,
                                    const SSControlInvocation &invocation)
{
    if (command.warning) {
        if (const auto text = command.warning()) {
            report("warning: ", *text);
            // Before it asks for anything.
            m_errors.flush();
        }
    }
    return command.run(invocation);
}

int SSControl::finish(int status)
{
    m_output.flush();
    if (m_output)
        return status;
    report("", QStringLiteral("the answer cannot be written"));
    return Failed;
}

int SSControl::complain(const QString &fault, const QString &command)
{
    report("", fault);
    m_errors << "Try \"" << SSControlHelp::programName().toStdString() << ' '
             << (command.isEmpty() ? std::string() : command.toStdString() + ' ') << "--help\".\n";
    return WrongUsage;
}

void SSControl::report(const char *kind, const QString &text)
{
    m_errors << SSControlHelp::programName().toStdString() << ": " << kind
             << SSControlText::printable(text).toStdString() << '\n';
}
