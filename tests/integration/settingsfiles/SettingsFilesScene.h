#pragma once

#include "platform/linux/settingsfiles/LinuxSettingsFiles.h"

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <vector>

#include <sys/types.h>

/// An account that a piece of a test runs as.
struct Account
{
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> groups = {};
};

/// Makes an account with a group of its own. Only below with-own-etc.
[[nodiscard]] Account addAccount(const QString &name);

/// Forks, becomes the account for good, runs `work` and gives what it returns.
[[nodiscard]] QString as(const Account &account, const std::function<QString()> &work);

/// Forks and runs `work`, which does not return, until it is killed.
[[nodiscard]] pid_t startChild(const std::function<void()> &work);
/// Kills the child and waits for its end.
void endChild(pid_t child);

/// How many descriptors this process has open.
[[nodiscard]] int openDescriptors();

/// "done", or the error's text.
[[nodiscard]] QString outcome(const SettingsFileResult &result);
[[nodiscard]] QString outcome(const Result<SettingsFileBytes, SettingsFileError> &result);

/// A scratch tree on a disk of its own in memory, with /Library/Caches in it, and the files there.
class SettingsFilesScene
{
public:
    /// `diskSize` is tmpfs's, "64k".
    explicit SettingsFilesScene(const QString &diskSize = QStringLiteral("16m"));
    ~SettingsFilesScene();
    SettingsFilesScene(const SettingsFilesScene &) = delete;
    SettingsFilesScene &operator=(const SettingsFilesScene &) = delete;

    static QString folder() { return QStringLiteral("/Library/Caches/ZevrikSelfService"); }
    static QString settings() { return folder() + QStringLiteral("/com.zevrik.selfservice.plist"); }
    static QString keys()
    {
        return folder() + QStringLiteral("/com.zevrik.selfservice.hash.plist");
    }
    static SettingsFileAttributes folderAttributes();
    static SettingsFileAttributes settingsAttributes();
    static SettingsFileAttributes keyAttributes() { return {0600, {}, {}}; }

    /// Where the scene's `path` is on this computer.
    [[nodiscard]] QByteArray real(const QString &path) const;
    /// Makes folder() with this mode, root's.
    void makeFolder(mode_t mode = 0755) const;
    void makeFile(const QString &path, const QByteArray &contents, mode_t mode = 0644,
                  uid_t owner = 0) const;
    /// By the system's own calls, without a lock.
    [[nodiscard]] QByteArray contents(const QString &path) const;
    /// "0644 root root", names where there are some; "0711 folder …" likewise.
    [[nodiscard]] QString state(const QString &path) const;
    /// What lies in folder(), hidden names as well.
    [[nodiscard]] QStringList names() const;

    /// One operation on `path` in words, so that a child can answer with it.
    [[nodiscard]] QString write(const QString &path, const QByteArray &bytes,
                                const SettingsFileAttributes &initial = settingsAttributes());
    [[nodiscard]] QString writeInPlace(const QString &path, const QByteArray &bytes);
    [[nodiscard]] QString set(const QString &path, const SettingsFileAttributes &attributes);
    [[nodiscard]] QString create(const QString &path);
    /// "read: " and the bytes, or the error's text.
    [[nodiscard]] QString read(const QString &path,
                               SettingsFileTrust trust = SettingsFileTrust::Anybody);

    [[nodiscard]] SettingsFiles &files() { return m_files; }

private:
    QTemporaryDir m_root;
    LinuxSettingsFiles m_files;
};
