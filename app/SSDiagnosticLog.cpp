#include "app/SSDiagnosticLog.h"

#include "foundation/SSLogger.h"

namespace {

SSMessageType messageType(DiagnosticType type)
{
    switch (type) {
    case DiagnosticType::Error:
        return SSMessageType::Error;
    case DiagnosticType::Debug:
        return SSMessageType::Debug;
    case DiagnosticType::Info:
        break;
    }
    return SSMessageType::Info;
}

} // namespace

DiagnosticSink SSDiagnosticLog::sink()
{
    return [](unsigned level, DiagnosticType type, const QString &message) {
        SSLog(level, messageType(type), "%@", message);
    };
}
