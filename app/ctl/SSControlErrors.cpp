#include "app/ctl/SSControlErrors.h"

#include "foundation/SSLogger.h"

#include <utility>

void SSControlErrors::setLogFile(std::shared_ptr<LogFile> logFile)
{
    const std::lock_guard guard(m_lock);
    m_logFile = std::move(logFile);
}

void SSControlErrors::append(const QString &path, QByteArrayView line)
{
    std::shared_ptr<LogFile> logFile;
    {
        const std::lock_guard guard(m_lock);
        logFile = m_logFile;
    }
    if (logFile)
        logFile->append(path, line);

    // A line is "date [type]: message"; the date holds no bracket.
    const QString text = QString::fromUtf8(line);
    const QString mark =
        QStringLiteral(" [%1]: ").arg(SSLogger::stringFromMessageType(SSMessageType::Error));
    const qsizetype type = text.indexOf(QLatin1String(" ["));
    if (type < 0 || QStringView(text).mid(type, mark.size()) != mark)
        return;
    QString message = text.mid(type + mark.size());
    if (message.endsWith(QLatin1Char('\n')))
        message.chop(1);
    remember(message);
}

void SSControlErrors::remember(const QString &message)
{
    const std::lock_guard guard(m_lock);
    m_messages.removeAll(message);
    m_messages.append(message);
    if (m_messages.size() > mostErrors)
        m_messages.removeFirst();
}

QStringList SSControlErrors::messages() const
{
    const std::lock_guard guard(m_lock);
    return m_messages;
}
