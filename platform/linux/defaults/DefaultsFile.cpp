#include "platform/linux/defaults/DefaultsFile.h"

#include "platform/PropertyList.h"
#include "platform/linux/posix/Descriptor.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Time stamps of files advance by the kernel's tick, some by a whole second.
constexpr qint64 youngNanoseconds = 2'000'000'000;

qint64 nanoseconds(const timespec &time)
{
    return static_cast<qint64>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

QString errorText(int error)
{
    return qt_error_string(error);
}

QString notRegular()
{
    return QStringLiteral("it is not a regular file");
}

} // namespace

DefaultsFile::DefaultsFile(QString path, Presence presence)
    : m_path(std::move(path)), m_presence(presence)
{
}

DefaultsFile::State DefaultsFile::stateOf(int result, const struct stat &status)
{
    if (result != 0)
        return {.error = errno};
    return {.device = status.st_dev,
            .inode = status.st_ino,
            .size = status.st_size,
            .mode = status.st_mode,
            .modified = nanoseconds(status.st_mtim),
            .changed = nanoseconds(status.st_ctim)};
}

std::optional<QString> DefaultsFile::refresh()
{
    struct stat status = {};
    const State now = stateOf(::stat(QFile::encodeName(m_path).constData(), &status), status);
    if (m_state == now && !m_youngBytes)
        return std::nullopt;

    Contents contents;
    contents.state = now;
    const bool missing = now.error == ENOENT || now.error == ENOTDIR;
    if (now.error != 0) {
        if (!missing || m_presence == Presence::Required)
            contents.problem = errorText(now.error);
    } else if (!S_ISREG(now.mode)) {
        contents.problem = notRegular();
    } else {
        contents = read(now);
    }

    const bool sameBytes = m_state == contents.state && m_youngBytes == contents.bytes;
    timespec clock = {};
    ::clock_gettime(CLOCK_REALTIME, &clock);
    // A time stamp in the future says nothing about what comes next either.
    const bool young = contents.problem.isEmpty() && contents.state.error == 0 &&
                       nanoseconds(clock) - contents.state.changed < youngNanoseconds;
    m_youngBytes = young ? std::optional(contents.bytes) : std::nullopt;
    if (sameBytes)
        return std::nullopt;
    m_state = contents.state;
    if (contents.problem.isEmpty() && !missing)
        contents.problem = take(contents);
    else
        m_values.clear();
    if (contents.problem.isEmpty())
        return std::nullopt;
    return QStringLiteral("The defaults file \"%1\" is not used: %2.")
        .arg(m_path, contents.problem);
}

DefaultsFile::Contents DefaultsFile::read(const State &seen) const
{
    Contents contents;
    contents.state = seen;
    const Descriptor file(::open(QFile::encodeName(m_path).constData(),
                                 O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen()) {
        contents.problem = errorText(errno);
        return contents;
    }
    struct stat status = {};
    contents.state = stateOf(::fstat(file.number(), &status), status);
    // It may have been replaced since it was looked at.
    if (!S_ISREG(contents.state.mode)) {
        contents.problem = notRegular();
        return contents;
    }
    // One byte more than is allowed, so that the reader sees what is too large.
    const qsizetype limit = PropertyListLimits().fileSize + 1;
    QByteArray bytes(std::min(limit, static_cast<qsizetype>(contents.state.size) + 1),
                     Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        const ssize_t count = ::read(file.number(), bytes.data() + filled,
                                     static_cast<std::size_t>(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            contents.problem = errorText(errno);
        if (count <= 0)
            break;
        filled += count;
        if (filled == limit)
            break;
        if (filled == bytes.size()) // it grew meanwhile
            bytes.resize(std::min(limit, bytes.size() * 2));
    }
    bytes.truncate(filled);
    contents.bytes = bytes;
    return contents;
}

QString DefaultsFile::take(const Contents &contents)
{
    m_values.clear();
    const PropertyListResult result = readPropertyList(contents.bytes);
    if (!result)
        return result.error().text;
    if (result.value().typeId() != QMetaType::QVariantMap)
        return QStringLiteral("it holds no dictionary");
    m_values = result.value().toMap();
    return {};
}

std::optional<QVariant> DefaultsFile::value(const QString &key) const
{
    const auto it = m_values.constFind(key);
    if (it == m_values.cend())
        return std::nullopt;
    return *it;
}
