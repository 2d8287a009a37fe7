#include "tests/integration/settingsfiles/SettingsFilesScene.h"

#include "platform/linux/accounts/LinuxIdentityService.h"
#include "tests/integration/accounts/Processes.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <grp.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::span<const std::byte> bytesOf(const QByteArray &data)
{
    return std::as_bytes(std::span(data.constData(), static_cast<std::size_t>(data.size())));
}

/// The scene is of no use when a step of its making fails.
void must(bool done, const char *what)
{
    if (!done)
        qFatal("%s: %s", what, std::strerror(errno));
}

} // namespace

Account addAccount(const QString &name)
{
    // A test may run a part of itself once more.
    const bool isThere = ::getpwnam(qPrintable(name)) != nullptr;
    must(isThere || run({QStringLiteral("useradd"), QStringLiteral("-r"), QStringLiteral("-M"),
                         QStringLiteral("-U"), name}) == 0,
         "useradd");
    const passwd *entry = ::getpwnam(qPrintable(name));
    must(entry, "getpwnam");
    return {entry->pw_uid, entry->pw_gid};
}

QString as(const Account &account, const std::function<QString()> &work)
{
    int ends[2];
    must(::pipe(ends) == 0, "pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        QString answer = QStringLiteral("cannot become that user");
        if (::setgroups(account.groups.size(), account.groups.data()) == 0 &&
            ::setgid(account.group) == 0 && ::setuid(account.user) == 0)
            answer = work();
        const QByteArray bytes = answer.toUtf8();
        const ssize_t written =
            ::write(ends[1], bytes.constData(), static_cast<std::size_t>(bytes.size()));
        ::_exit(written == bytes.size() ? 0 : 1);
    }
    ::close(ends[1]);
    QFile reader;
    QByteArray answer;
    if (reader.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        answer = reader.readAll();
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? QString::fromUtf8(answer) : QStringLiteral("the process failed");
}

pid_t startChild(const std::function<void()> &work)
{
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        // Not to outlive a test that crashes.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() == parent)
            work();
        ::_exit(1);
    }
    must(child > 0, "fork");
    return child;
}

void endChild(pid_t child)
{
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

int openDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).count());
}

QString outcome(const SettingsFileResult &result)
{
    return result ? QStringLiteral("done") : result.error().localizedDescription;
}

QString outcome(const Result<SettingsFileBytes, SettingsFileError> &result)
{
    if (!result)
        return result.error().localizedDescription;
    return QStringLiteral("read: ") +
           QString::fromLatin1(reinterpret_cast<const char *>(result.value().data()),
                               static_cast<qsizetype>(result.value().size()));
}

SettingsFilesScene::SettingsFilesScene(const QString &diskSize)
    : m_files(m_root.path(), std::make_shared<LinuxIdentityService>())
{
    must(::mount("tmpfs", qPrintable(m_root.path()), "tmpfs", 0,
                 qPrintable(QStringLiteral("mode=0755,size=") + diskSize)) == 0,
         "mount");
    must(QDir().mkpath(m_root.path() + QStringLiteral("/Library/Caches")), "mkdir");
    // As after an installation, whatever this process's mask is.
    ::chmod(real(QStringLiteral("/Library")).constData(), 0755);
    ::chmod(real(QStringLiteral("/Library/Caches")).constData(), 0755);
}

SettingsFilesScene::~SettingsFilesScene()
{
    ::umount2(qPrintable(m_root.path()), MNT_DETACH);
}

SettingsFileAttributes SettingsFilesScene::folderAttributes()
{
    return {0711, QStringLiteral("_securityagent"), QStringLiteral("admin")};
}

SettingsFileAttributes SettingsFilesScene::settingsAttributes()
{
    return {0666, QStringLiteral("_securityagent"), QStringLiteral("admin")};
}

QByteArray SettingsFilesScene::real(const QString &path) const
{
    return QFile::encodeName(m_root.path() + path);
}

void SettingsFilesScene::makeFolder(mode_t mode) const
{
    must(::mkdir(real(folder()).constData(), 0700) == 0 &&
             ::chmod(real(folder()).constData(), mode) == 0,
         "mkdir");
}

void SettingsFilesScene::makeFile(const QString &path, const QByteArray &contents, mode_t mode,
                                  uid_t owner) const
{
    QFile file(QFile::decodeName(real(path)));
    must(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size(), "write");
    file.close();
    must(::chown(real(path).constData(), owner, 0) == 0 &&
             ::chmod(real(path).constData(), mode) == 0,
         "chown");
}

QByteArray SettingsFilesScene::contents(const QString &path) const
{
    QFile file(QFile::decodeName(real(path)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not readable");
}

QString SettingsFilesScene::state(const QString &path) const
{
    struct stat found = {};
    if (::lstat(real(path).constData(), &found) != 0)
        return QStringLiteral("nothing");
    const passwd *owner = ::getpwuid(found.st_uid);
    const ::group *ownerGroup = ::getgrgid(found.st_gid);
    return QStringLiteral("%1 %2%3 %4")
        .arg(found.st_mode & 07777U, 4, 8, QLatin1Char('0'))
        .arg(S_ISDIR(found.st_mode) ? QStringLiteral("folder ") : QString(),
             owner ? QString::fromUtf8(owner->pw_name) : QString::number(found.st_uid),
             ownerGroup ? QString::fromUtf8(ownerGroup->gr_name) : QString::number(found.st_gid));
}

QStringList SettingsFilesScene::names() const
{
    return QDir(QFile::decodeName(real(folder())))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

QString SettingsFilesScene::write(const QString &path, const QByteArray &bytes,
                                  const SettingsFileAttributes &initial)
{
    return outcome(m_files.writeAtomically(path, bytesOf(bytes), initial));
}

QString SettingsFilesScene::writeInPlace(const QString &path, const QByteArray &bytes)
{
    return outcome(m_files.writeInPlace(path, bytesOf(bytes)));
}

QString SettingsFilesScene::set(const QString &path, const SettingsFileAttributes &attributes)
{
    return outcome(m_files.setAttributes(path, attributes));
}

QString SettingsFilesScene::create(const QString &path)
{
    return outcome(m_files.createDirectory(path, folderAttributes()));
}

QString SettingsFilesScene::read(const QString &path, SettingsFileTrust trust)
{
    return outcome(m_files.read(path, trust, std::size_t{8} * 1024 * 1024));
}
