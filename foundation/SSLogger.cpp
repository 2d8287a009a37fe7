#include "foundation/SSLogger.h"

#include "platform/LogFile.h"
#include "platform/Platform.h"

#include <QDateTime>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

struct SharedLogger
{
    std::once_flag created;
    std::mutex lock;
    std::shared_ptr<SSLogger> instance;
};

SharedLogger &sharedLogger()
{
    // Never destroyed: threads may log until the process is gone.
    static SharedLogger &shared = *std::make_unique<SharedLogger>().release();
    return shared;
}

} // namespace

QString SSDateFormatter::stringFromDate(const LocalTime &date) const
{
    const int minutes = std::abs(date.utcOffsetSeconds) / 60;
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d %c%02d:%02d", date.year,
                  date.month, date.day, date.hour, date.minute, date.second,
                  date.utcOffsetSeconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return QString::fromLatin1(text.data());
}

SSLogger::SSLogger() : SSLogger(0) {}

SSLogger::SSLogger(quint32 logLevel) : m_dateFormatter(SSDateFormatter())
{
    setLogLevel(logLevel);
}

std::shared_ptr<SSLogger> SSLogger::sharedInstance()
{
    SharedLogger &shared = sharedLogger();
    std::call_once(shared.created, [&shared] {
        const std::lock_guard guard(shared.lock);
        shared.instance = std::make_shared<SSLogger>();
    });
    const std::lock_guard guard(shared.lock);
    return shared.instance;
}

void SSLogger::destroy()
{
    SharedLogger &shared = sharedLogger();
    std::shared_ptr<SSLogger> released;
    const std::lock_guard guard(shared.lock);
    released.swap(shared.instance);
}

void SSLogger::setDateFormatter(std::optional<SSDateFormatter> dateFormatter)
{
    const std::lock_guard guard(m_lock);
    m_dateFormatter = dateFormatter;
}

std::optional<SSDateFormatter> SSLogger::dateFormatter() const
{
    const std::lock_guard guard(m_lock);
    return m_dateFormatter;
}

QString SSLogger::stringFromMessageType(SSMessageType type)
{
    switch (type) {
    case SSMessageType::Info:
        return QStringLiteral("Info");
    case SSMessageType::Error:
        return QStringLiteral("Error");
    case SSMessageType::Warning:
        return QStringLiteral("Warning");
    case SSMessageType::Debug:
        return QStringLiteral("Debug");
    }
    return QStringLiteral("?");
}

QString SSLogger::dateText() const
{
    const LocalTime now = Platform::current().clock->localTime();
    if (m_dateFormatter)
        return m_dateFormatter->stringFromDate(now);
    const QDateTime date(QDate(now.year, now.month, now.day),
                         QTime(now.hour, now.minute, now.second), Qt::OffsetFromUTC,
                         now.utcOffsetSeconds);
    return SSFormat::description(QVariant(date));
}

void SSLogger::logWithLogLevel(quint32 level, SSMessageType type, const QString &message)
{
    if (!passes(level) || !Platform::isInstalled())
        return;
    const std::lock_guard guard(m_lock);
    const QString line =
        SSFormat::format("%@ [%@]: %@\n", dateText(), stringFromMessageType(type), message);
    static const QString path = QString::fromUtf16(logFilePath);
    Platform::current().logFile->append(path, line.toUtf8());
}

void SSLogger::logFunctionStartWithName(const QString &name)
{
    logWithLogLevelFormat(2, SSMessageType::Debug, ">> %@ started", name);
}

void SSLogger::logFunctionEndWithName(const QString &name)
{
    logWithLogLevelFormat(2, SSMessageType::Debug, ">> %@ ended", name);
}
