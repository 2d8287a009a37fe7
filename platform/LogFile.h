#pragma once

#include <QByteArrayView>
#include <QString>

/// Appends whole lines to a file that several processes and accounts write to.
class LogFile
{
public:
    virtual ~LogFile() = default;

    /// Appends `line` to the file at `path` with one write and keeps no handle. A missing file is
    /// created with mode 0666 less the process's mask, unless the adapter was made not to. Follows
    /// no link and waits for no FIFO. A line that cannot be written is lost silently: there is
    /// nowhere left to report it. Any thread; the caller serialises its own calls.
    virtual void append(const QString &path, QByteArrayView line) = 0;
};
