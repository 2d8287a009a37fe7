#include "platform/linux/notifications/NotificationRecords.h"

#include "platform/linux/posix/Descriptor.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qsizetype kMaximumSize = 64LL * 1024;

QByteArray readWhole(int file)
{
    QByteArray content(kMaximumSize + 1, Qt::Uninitialized);
    qsizetype length = 0;
    while (length < content.size()) {
        const ssize_t got = ::read(file, content.data() + length,
                                   static_cast<std::size_t>(content.size() - length));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        length += got;
    }
    content.truncate(length);
    return length > kMaximumSize ? QByteArray() : content;
}

bool writeWhole(int file, const QByteArray &content)
{
    qsizetype done = 0;
    while (done < content.size()) {
        const ssize_t put = ::write(file, content.constData() + done,
                                    static_cast<std::size_t>(content.size() - done));
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0)
            return false;
        done += put;
    }
    return true;
}

std::optional<NotificationRecordSet> parse(const QByteArray &content)
{
    const QJsonDocument document = QJsonDocument::fromJson(content);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    NotificationRecordSet set;
    set.busId = object.value(QStringLiteral("bus")).toString();
    set.serverName = object.value(QStringLiteral("server")).toString();
    const QJsonValue list = object.value(QStringLiteral("notifications"));
    if (set.busId.isEmpty() || set.serverName.isEmpty() || !list.isArray())
        return std::nullopt;
    const QJsonArray array = list.toArray();
    for (const QJsonValue value : array) {
        const QJsonObject item = value.toObject();
        const qint64 id = item.value(QStringLiteral("id")).toInteger(0);
        const QJsonValue identifier = item.value(QStringLiteral("identifier"));
        if (id <= 0 || id > std::numeric_limits<quint32>::max() || !identifier.isString())
            return std::nullopt;
        set.records.append({static_cast<quint32>(id), identifier.toString()});
    }
    return set;
}

} // namespace

NotificationRecords::NotificationRecords(QString directory) : m_directory(std::move(directory)) {}

std::optional<NotificationRecordSet> NotificationRecords::read() const
{
    if (m_directory.isEmpty())
        return std::nullopt;
    const QByteArray name = QFile::encodeName(m_directory + QStringLiteral("/notifications"));
    const Descriptor file(
        ::open(name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        return std::nullopt;
    struct stat status = {};
    QByteArray content;
    if (::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == ::geteuid())
        content = readWhole(file.number());
    return parse(content);
}

bool NotificationRecords::write(const NotificationRecordSet &set) const
{
    if (m_directory.isEmpty())
        return true;
    const QByteArray name = QFile::encodeName(m_directory + QStringLiteral("/notifications"));
    if (set.records.isEmpty())
        return ::unlink(name.constData()) == 0 || errno == ENOENT;

    QJsonArray array;
    for (const NotificationRecord &record : set.records) {
        array.append(QJsonObject{{QStringLiteral("id"), static_cast<qint64>(record.id)},
                                 {QStringLiteral("identifier"), record.identifier}});
    }
    const QByteArray content = QJsonDocument(QJsonObject{{QStringLiteral("bus"), set.busId},
                                                         {QStringLiteral("server"), set.serverName},
                                                         {QStringLiteral("notifications"), array}})
                                   .toJson(QJsonDocument::Compact);

    if (::mkdir(QFile::encodeName(m_directory).constData(), 0700) != 0 && errno != EEXIST)
        return false;
    const QByteArray draft = name + '.' + QByteArray::number(::getpid());
    // A draft of this name can only be what a killed process of the same id left.
    ::unlink(draft.constData());
    const int file = ::open(draft.constData(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, 0600);
    if (file < 0)
        return false;
    const bool written = writeWhole(file, content);
    const int writeError = errno;
    ::close(file);
    if (written && ::rename(draft.constData(), name.constData()) == 0)
        return true;
    const int error = written ? errno : writeError;
    ::unlink(draft.constData());
    errno = error;
    return false;
}
