#pragma once

#include "foundation/SSFormat.h"
#include "platform/Clock.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

/// The type of a message. Warning exists but nothing uses it.
enum class SSMessageType : quint32 { Info = 0, Error = 1, Warning = 2, Debug = 3 };

/// Formats moments as "yyyy-MM-dd HH:mm:ss ZZZZZ" in the local time zone, ZZZZZ being the offset
/// from UTC with a colon, as +01:00.
class SSDateFormatter
{
public:
    [[nodiscard]] QString stringFromDate(const LocalTime &date) const;
};

/// The process-wide log: one line per message, appended to logFilePath. Any thread may log; lines
/// of one process never mix, lines of several processes are each one write.
class SSLogger
{
public:
    static constexpr char16_t logFilePath[] = u"/tmp/zevrikselfservice.log";

    /// Silent.
    SSLogger();
    explicit SSLogger(quint32 logLevel);
    SSLogger(const SSLogger &) = delete;
    SSLogger &operator=(const SSLogger &) = delete;

    /// The one logger, made silent at first use; null after destroy().
    [[nodiscard]] static std::shared_ptr<SSLogger> sharedInstance();
    /// Drops the one logger for good: later log calls do nothing.
    static void destroy();

    /// 0 silent, 1 errors and important information, 2 detail and function tracing as well.
    void setLogLevel(quint32 logLevel) { m_logLevel.store(logLevel, std::memory_order_relaxed); }
    [[nodiscard]] quint32 logLevel() const { return m_logLevel.load(std::memory_order_relaxed); }

    void setDateFormatter(std::optional<SSDateFormatter> dateFormatter);
    [[nodiscard]] std::optional<SSDateFormatter> dateFormatter() const;

    [[nodiscard]] static QString stringFromMessageType(SSMessageType type);

    /// Writes one line when `level` passes; a line that cannot be written is lost silently.
    void logWithLogLevel(quint32 level, SSMessageType type, const QString &message);

    /// As above with placeholders (see SSFormat::fill), which are not expanded for a message below
    /// the level.
    template<typename... Arguments>
    void logWithLogLevelFormat(quint32 level, SSMessageType type, std::string_view format,
                               const Arguments &...arguments)
    {
        if (passes(level))
            logWithLogLevel(level, type, SSFormat::format(format, arguments...));
    }

    /// ">> NAME started" and ">> NAME ended", at the verbose level only.
    void logFunctionStartWithName(const QString &name);
    void logFunctionEndWithName(const QString &name);

private:
    [[nodiscard]] bool passes(quint32 level) const { return logLevel() >= level; }
    [[nodiscard]] QString dateText() const;

    std::atomic<quint32> m_logLevel{0};
    mutable std::recursive_mutex m_lock;
    std::optional<SSDateFormatter> m_dateFormatter;
};

/// One message to the shared logger, if there is one.
template<typename... Arguments>
void SSLog(quint32 level, SSMessageType type, std::string_view format,
           const Arguments &...arguments)
{
    if (const auto logger = SSLogger::sharedInstance())
        logger->logWithLogLevelFormat(level, type, format, arguments...);
}
