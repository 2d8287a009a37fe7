#include "platform/linux/core/LinuxLogFile.h"

#include <QFile>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

LinuxLogFile::LinuxLogFile(QString rootPrefix, bool mayCreate)
    : m_rootPrefix(std::move(rootPrefix)), m_mayCreate(mayCreate)
{
}

void LinuxLogFile::append(const QString &path, QByteArrayView line)
{
    const QByteArray name = QFile::encodeName(m_rootPrefix + path);
    // A link is not followed, and a FIFO that nobody reads is not waited for.
    constexpr int flags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    int file = ::open(name.constData(), flags);
    if (file < 0 && errno == ENOENT && m_mayCreate) {
        file = ::open(name.constData(), flags | O_CREAT | O_EXCL, 0666);
        if (file < 0 && errno == EEXIST) // another process was faster
            file = ::open(name.constData(), flags);
    }
    if (file < 0)
        return;
    struct stat status = {};
    // A file with a second name may be anybody's: where hard links are not protected, a user can
    // give one of root's files the log's name.
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1) {
        // One write a line is what keeps the lines of several processes apart, so a short write is
        // not continued.
        [[maybe_unused]] const ssize_t written =
            ::write(file, line.data(), static_cast<std::size_t>(line.size()));
    }
    ::close(file);
}
