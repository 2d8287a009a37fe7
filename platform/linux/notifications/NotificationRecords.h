#pragma once

#include <QList>
#include <QString>

#include <optional>

/// A notification that a server shows, as the server knows it.
struct NotificationRecord
{
    quint32 id = 0;
    QString identifier;
    bool operator==(const NotificationRecord &) const = default;
};

/// What one server on one bus shows of this application.
struct NotificationRecordSet
{
    QString busId;
    QString serverName; ///< the server's unique name on the bus
    QList<NotificationRecord> records;
    bool operator==(const NotificationRecordSet &) const = default;
};

/// The file that tells the next process what an earlier one has shown: "notifications" in a folder
/// of the application (0700) below the user's runtime folder. Not for several threads at once.
class NotificationRecords
{
public:
    /// An empty `directory` keeps nothing.
    explicit NotificationRecords(QString directory);

    /// Absent when there is no file, or none that this user wrote and that is whole.
    [[nodiscard]] std::optional<NotificationRecordSet> read() const;

    /// Replaces the file as a whole (0600); a set without records removes it. False on failure, the
    /// cause in errno.
    [[nodiscard]] bool write(const NotificationRecordSet &set) const;

private:
    QString m_directory;
};
