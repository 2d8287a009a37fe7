#pragma once

#include "platform/LogFile.h"

#include <QByteArray>
#include <QString>

/// The log file in a world-writable sticky folder: an existing file, of whatever owner, is opened
/// without O_CREAT, which protected folders refuse for files of others.
class LinuxLogFile final : public LogFile
{
public:
    /// `rootPrefix` is put before every path. With `mayCreate` false a missing file stays missing.
    LinuxLogFile(QString rootPrefix, bool mayCreate);

    void append(const QString &path, QByteArrayView line) override;

private:
    QString m_rootPrefix;
    bool m_mayCreate;
};
