#pragma once

#include "platform/LogFile.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>

/// Stands before the log file and remembers the errors that pass, so that their reasons can be told
/// to the user at the terminal as well. What is not meant for the file is only remembered. Any
/// thread.
class SSControlErrors final : public LogFile
{
public:
    /// Keeps the latest errors only, each text once.
    static constexpr qsizetype mostErrors = 20;

    /// Where lines go from now on; null for nowhere.
    void setLogFile(std::shared_ptr<LogFile> logFile);

    void append(const QString &path, QByteArrayView line) override;
    void remember(const QString &message);
    [[nodiscard]] QStringList messages() const;

private:
    mutable std::mutex m_lock;
    std::shared_ptr<LogFile> m_logFile;
    QStringList m_messages;
};
