#pragma once

#include "platform/SettingsFiles.h"

#include <QByteArray>
#include <QMap>
#include <QStringList>

/// Files in memory. A folder must be there before a file in it.
class FakeSettingsFiles final : public SettingsFiles
{
public:
    [[nodiscard]] bool exists(const QString &path) override;
    [[nodiscard]] Result<SettingsFileAttributes, SettingsFileError>
    attributes(const QString &path) override;
    [[nodiscard]] SettingsFileResult
    createDirectory(const QString &path, const SettingsFileAttributes &attributes) override;
    [[nodiscard]] SettingsFileResult
    setAttributes(const QString &path, const SettingsFileAttributes &attributes) override;
    [[nodiscard]] Result<SettingsFileBytes, SettingsFileError>
    read(const QString &path, SettingsFileTrust trust, std::size_t limit) override;
    [[nodiscard]] SettingsFileResult
    writeAtomically(const QString &path, std::span<const std::byte> bytes,
                    const SettingsFileAttributes &initial) override;
    [[nodiscard]] SettingsFileResult writeInPlace(const QString &path,
                                                  std::span<const std::byte> bytes) override;
    /// Fails with errors["asUser"]. The result is good as long as this object is.
    [[nodiscard]] Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
    asUser(const QString &accountName) override;

    struct Entry
    {
        bool isFolder = false;
        QByteArray bytes = {};
        quint32 mode = 0;
        QString owner = QStringLiteral("(writer)");
        QString group = QStringLiteral("(writer)");
        /// What read() with SettingsFileTrust::EffectiveUser goes by.
        bool isTrusted = true;
        std::optional<quint32> groupId = {};
    };

    void addFolder(const QString &path) { entries.insert(path, Entry{.isFolder = true}); }
    void addFile(const QString &path, const QByteArray &bytes)
    {
        entries.insert(path, Entry{.bytes = bytes});
    }

    QMap<QString, Entry> entries;
    /// "operation path" of each call that changes something: "createDirectory", "setAttributes",
    /// "writeAtomically", "writeInPlace". What is done through asUser() begins with "as NAME: ".
    QStringList changes;
    /// The same of every other call: "exists", "attributes", "read".
    QStringList looks;
    /// Fails the operation of that name for every path, with this text; exists() never does. An
    /// operation that fails changes nothing.
    QMap<QString, QString> errors;

private:
    class AsUser;

    /// Records the call and gives the error set for it.
    [[nodiscard]] std::optional<SettingsFileError> started(const QString &operation,
                                                           const QString &path);
    [[nodiscard]] SettingsFileResult put(const QString &operation, const QString &path,
                                         std::span<const std::byte> bytes,
                                         const SettingsFileAttributes &initial);

    QString m_actor; ///< "as NAME: " during a call made through asUser()
};
