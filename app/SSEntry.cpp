#include "app/SSEntry.h"

#include "app/SSDiagnosticLog.h"
#include "app/SSEnrollAppDelegate.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "platform/Platform.h"
#include "platform/SystemInformation.h"

#include <QStringDecoder>

namespace {

const QString enrollMenuExtraSwitch = QStringLiteral("--enrollMenuExtra");

void onTerminationSignal()
{
    const SSFunctionLog scope("terminate");
    Platform::current().application->terminate();
}

} // namespace

int SSEntry::testEnrollMenuExtra(std::span<const char *const> arguments)
{
    if (arguments.size() < 2)
        return 0;
    for (const char *argument : arguments.subspan(1)) {
        // A byte order mark is a character like any other here.
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                         QStringDecoder::Flag::ConvertInitialBom);
        const QString text = decoder(QByteArrayView(argument));
        if (!decoder.hasError() && text.compare(enrollMenuExtraSwitch, Qt::CaseInsensitive) == 0) {
            return 1;
        }
    }
    return 0;
}

void SSEntry::startEnrollMenuExtra(bool showExtras)
{
    const SSFunctionLog scope("startEnrollMenuExtra");
    Application &application = *Platform::current().application;
    application.disableRelaunchOnLogin();
    const auto delegate = SSEnrollAppDelegate::initWithShowExtras(showExtras);
    application.setDelegate(delegate);
    application.setResident(showExtras);
    application.setTerminationSignalHandler(onTerminationSignal);
    application.run();
}

int SSEntry::run(std::span<const char *const> arguments, const SSDiagnosticLog &diagnostics)
{
    if (const auto logger = SSLogger::sharedInstance())
        logger->setLogLevel(SSDefaults::defaults()->getLogLevel());
    const QString asterisks = SSHelper::stringWithRepeatString(QStringLiteral("*"), 30);
    SSLog(2, SSMessageType::Info, "%@ Enroll %@", asterisks, asterisks);
    SSLog(1, SSMessageType::Info, "macOS %@",
          Platform::current().system->operatingSystemVersionString());
    diagnostics.open();
    const SSFunctionLog scope("main");
    startEnrollMenuExtra(testEnrollMenuExtra(arguments) == 1);
    return 0;
}
