#include "app/SSDiagnosticLog.h"

#include "foundation/SSLogger.h"

#include <QList>

#include <mutex>

namespace {

struct Message
{
    unsigned level;
    DiagnosticType type;
    QString text;
};

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

struct SSDiagnosticLog::State
{
    std::mutex lock;
    bool isOpen = false;
    QList<Message> kept;
};

SSDiagnosticLog::SSDiagnosticLog() : m_state(std::make_shared<State>()) {}

DiagnosticSink SSDiagnosticLog::sink() const
{
    return [state = m_state](unsigned level, DiagnosticType type, const QString &text) {
        {
            const std::lock_guard guard(state->lock);
            if (!state->isOpen) {
                state->kept.append({level, type, text});
                return;
            }
        }
        SSLog(level, messageType(type), "%@", text);
    };
}

void SSDiagnosticLog::open() const
{
    QList<Message> kept;
    {
        const std::lock_guard guard(m_state->lock);
        m_state->isOpen = true;
        kept.swap(m_state->kept);
    }
    for (const Message &message : kept)
        SSLog(message.level, messageType(message.type), "%@", message.text);
}
