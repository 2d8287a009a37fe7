#pragma once

#include "platform/PropertyListDictionary.h"
#include "settings/SSSettingProvenance.h"

#include <QList>
#include <QString>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>

class SSConnectionPointKeywords;
class SSDefaults;
class SSSecureData;

/// What the password reset on the login screen needs: its switches and texts, and the key material
/// of offline reset. The tray process fills it from the directory and keeps a copy on disk, which
/// the login-window side reads. Loaded in place; only the operations below change it. Main thread.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): the members are in the list's order
class SSLogonSettings
{
public:
    using Boolean = bool;
    using Integer = qint32;
    using Unsigned = quint32;
    using String = std::optional<QString>;
    using Secure = std::shared_ptr<const SSSecureData>; ///< null when absent

    SSLogonSettings();

    void reset();

    /// Starts with reset(). Null, with a log line, leaves it at that. Never touches what only the
    /// cache carries: the computer's RID, the session keys, the generated error.
    void loadFromConnectionPointKeywords(const SSConnectionPointKeywords *keywords);

    /// Whether both say the same to the login-window side; false for null. The key material counts
    /// only with `compareComputerKeys`.
    [[nodiscard]] bool compare(const SSLogonSettings *other, bool compareComputerKeys) const;
    /// The property at which compare() stops; none when the two are equal.
    [[nodiscard]] std::optional<QString> firstDifference(const SSLogonSettings &other,
                                                         bool compareComputerKeys) const;

    /// Whether something that is on needs a session key, and whether it is there.
    [[nodiscard]] bool needKey() const;
    [[nodiscard]] bool hasKey() const;

    /// A new random session key, and its copy ciphered with the public key. Without a public key
    /// that is logged and nothing changes.
    void generateNewSessionKey();
    /// Takes over both forms of the key, the same buffers. Nothing happens for null.
    void copySessionKeyFromSettings(const SSLogonSettings *settings);
    void clearSessionKey();
    /// The relative identifier of the computer's directory account.
    void updateComputerRID(quint32 computerRID);

    /// Writes the settings block to the log, unless the log is silent. The session key never shows.
    void log() const;

    /// Every setting that loading resolves, in that order.
    [[nodiscard]] QList<SSSettingProvenance> provenance() const;

    /// The value of one property by its name, for people to see: invalid when absent, for a name
    /// that there is not, and for the session key.
    [[nodiscard]] QVariant publicValue(const QString &property) const;

    // The copy on disk: the settings file for everybody, and the key file (the "settings hash" of
    // the messages), which root alone reads and writes. Every failure is logged; none is undone.

    /// What load() of a new object gives, or none.
    [[nodiscard]] static std::unique_ptr<SSLogonSettings> settingsFromCache();
    /// The key material alone, whatever state the settings file is in. None for anybody but root.
    [[nodiscard]] static std::unique_ptr<SSLogonSettings> keysFromCache();
    /// The same as initWithSerializedData.
    [[nodiscard]] static std::unique_ptr<SSLogonSettings>
    settingsFromData(const SSSecureData *data);
    /// What serializedData() gave; none for anything else.
    [[nodiscard]] static std::unique_ptr<SSLogonSettings>
    initWithSerializedData(const SSSecureData *data);
    /// Settings and key material, the session key enciphered, as one binary property list. Null,
    /// with a log line, when a text cannot be written or the key not enciphered.
    [[nodiscard]] std::shared_ptr<SSSecureData> serializedData() const;

    /// Writes both files, whole: by a temporary file as root and as the login window's user, in
    /// place otherwise. False when anything failed, though the settings file may have been written.
    bool save() const;
    bool saveKeyHashes() const;
    /// Fills the object from both files. A missing file is not worth a log line. What an ordinary
    /// user can write into the settings file is taken as it is: treat it as such.
    bool load();
    bool loadKeyHashes();

    /// The values that are there, in the file's order; never empty.
    [[nodiscard]] PropertyListDictionary serialize() const;
    /// None when the session key cannot be enciphered, so that it is not lost with the old file.
    [[nodiscard]] std::optional<PropertyListDictionary> serializeKeysHashes() const;
    /// Starts with reset(). False for another version, which leaves it at that.
    bool deserialize(const PropertyListDictionary &dictionary);
    /// Leaves everything but the key material alone.
    bool deserializeKeyHashes(const PropertyListDictionary &dictionary);

    /// Makes the folder unless something is there, which is then used as it is.
    static bool checkCreateSettingsDirectoryWithPath(const QString &path);

    // Names of the files and of their folder, which is absolute. Empty when the platform has no
    // place for caches, or no defaults domain.
    [[nodiscard]] static QString settingsPath();
    [[nodiscard]] static QString settingsFileName();
    [[nodiscard]] static QString keyHashesFileName();

#define SS_LOGON_SETTING(type, property, ...)                                                      \
    [[nodiscard]] const type &property() const                                                     \
    {                                                                                              \
        return m_##property;                                                                       \
    }
#include "settings/SSLogonSettings.def"
#undef SS_LOGON_SETTING

private:
    struct Row;
    struct Table;
    enum class Gate;

    enum RowIndex : std::size_t {
#define SS_LOGON_SETTING(type, property, ...) index_##property,
#include "settings/SSLogonSettings.def"
#undef SS_LOGON_SETTING
        rowCount
    };

    [[nodiscard]] bool isOpen(Gate gate) const;
    [[nodiscard]] SSOptionSource resolve(const Row &row, const SSDefaults &defaults,
                                         const SSConnectionPointKeywords &keywords);
    [[nodiscard]] bool write(const Row &row, PropertyListDictionary &dictionary) const;
    void read(const Row &row, const PropertyListDictionary &dictionary);
    [[nodiscard]] bool isEqual(const Row &row, const SSLogonSettings &other) const;
    [[nodiscard]] QVariant value(const Row &row) const;

#define SS_LOGON_SETTING(type, property, ...) type m_##property{};
#include "settings/SSLogonSettings.def"
#undef SS_LOGON_SETTING

    /// By row; none for a row that was not resolved.
    std::array<std::optional<SSOptionSource>, rowCount> m_sources;
};
