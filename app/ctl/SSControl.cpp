#include "app/ctl/SSControl.h"

#include "app/ctl/SSControlArguments.h"
#include "app/ctl/SSControlErrors.h"
#include "app/ctl/SSControlHelp.h"
#include "app/ctl/SSControlText.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSLogger.h"

#include <QJsonDocument>

#include <algorithm>
#include <ostream>
#include <utility>

namespace {

/// As the agent, but that errors are heard of at every level: at a silent one they reach the
/// terminal and not the file.
void openLog(Platform &platform, const std::shared_ptr<SSControlErrors> &errors)
{
    const std::shared_ptr<LogFile> logFile = std::exchange(platform.logFile, errors);
    Platform::install(&platform);
    const auto logger = SSLogger::sharedInstance();
    if (!logger)
        return;
    logger->setLogLevel(1);
    const quint32 level = SSDefaults::defaults()->getLogLevel();
    logger->setLogLevel(std::max(level, 1U));
    if (level > 0)
        errors->setLogFile(logFile);
}

} // namespace

SSControl::SSControl(std::ostream &output, std::ostream &errors, PlatformMaker makePlatform)
    : m_output(output), m_errors(errors), m_makePlatform(std::move(makePlatform))
{
}

int SSControl::run(std::span<const char *const> arguments, PlatformOptions options)
{
    const SSControlArguments parsed(arguments);
    if (parsed.isEmpty() && !parsed.fault()) {
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
    options.createLogFile = false;
    options.ldifFile = parsed.value("ldif");
    options.defaultsFile = parsed.value("defaults");
    options.diagnostics = SSControlErrors::sink(errors);
    Platform platform = m_makePlatform(options);
    openLog(platform, errors);

    SSControlAnswer answer;
    // Defaults that were named but cannot be read would give answers about other ones.
    if (options.defaultsFile && !errors->messages().isEmpty())
        answer = SSControlAnswer::failed(QStringLiteral("the defaults file cannot be used"));
    else
        answer = command->run(parsed.invocation());

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
