#pragma once

#include "platform/Result.h"

#include <QString>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <variant>
#include <vector>

/// Why a call failed. The text names the path's culprit and what was found there.
struct SettingsFileError
{
    enum class Code {
        Missing,      ///< nothing is there
        NotPlain,     ///< a link, folder, FIFO, file of several names …, where it may not be
        NotTrusted,   ///< somebody else could have written it, or put a link on the way to it
        TooLarge,     ///< beyond the limit given
        Locked,       ///< another process kept its lock for more than a second
        NoSpace,      ///< the disk, a quota or the process's limit is full
        NotPermitted, ///< not this user's to do
        UnknownName,  ///< no account or group of that name
        System,       ///< anything else that the system refused
    };
    Code code = Code::System;
    QString localizedDescription;
};

/// What a file or folder is given. What is absent stays as it is.
struct SettingsFileAttributes
{
    quint32 mode = 0;                  ///< the permission bits, exactly: no mask is taken off
    std::optional<QString> owner = {}; ///< an account's name
    /// A group's name; "admin" stands for this computer's administrators, as in IdentityService.
    std::optional<QString> group = {};
    /// A group's number, for where there is no name.
    std::optional<quint32> groupId = {};
};

/// Whose hand a file that is read may be in.
enum class SettingsFileTrust {
    Anybody,       ///< whoever may write it: what it says is not to be trusted
    EffectiveUser, ///< refused unless the effective user's own, and writable to nobody else
};

/// The bytes of a file, allocated once; the reader's to wipe when they are a secret.
using SettingsFileBytes = std::vector<std::byte>;
using SettingsFileResult = Result<std::monostate, SettingsFileError>;

/// The files that the settings are kept in, in a folder that others may write to as well. Paths are
/// absolute. On the way to a file only such links are followed as root or the effective user made;
/// at its end none is, and a FIFO is not waited for. Blocking calls, a second and the disk's time
/// at most; no handle stays open. Any thread.
class SettingsFiles
{
public:
    virtual ~SettingsFiles() = default;

    /// Whether anything is there, a link to nothing included. False only when the system says that
    /// nothing is: what this user may not look at counts as something, and fails when it is used.
    [[nodiscard]] virtual bool exists(const QString &path) = 0;

    /// Mode, owner and the group's number of a regular file or a folder. A number without an
    /// account leaves the owner absent.
    [[nodiscard]] virtual Result<SettingsFileAttributes, SettingsFileError>
    attributes(const QString &path) = 0;

    /// Makes the folder, not those that it lies in; an error when anything is there already. It has
    /// the attributes from its first moment as far as this user may give them. Those that it could
    /// not be given are no error of this call, but of setAttributes().
    [[nodiscard]] virtual SettingsFileResult
    createDirectory(const QString &path, const SettingsFileAttributes &attributes) = 0;

    /// Gives a file of one name, or a folder, these attributes; those that it has already are no
    /// error, whoever calls. On an error some of them may have been given.
    [[nodiscard]] virtual SettingsFileResult
    setAttributes(const QString &path, const SettingsFileAttributes &attributes) = 0;

    /// The whole of a regular file of at most `limit` bytes. Waits for an in-place writer at most a
    /// second, then it is Locked. A writer that died in the middle leaves a beginning of what it
    /// wanted to write: whatever reads the bytes tells that from a whole file.
    [[nodiscard]] virtual Result<SettingsFileBytes, SettingsFileError>
    read(const QString &path, SettingsFileTrust trust = SettingsFileTrust::Anybody,
         std::size_t limit = std::size_t{8} * 1024 * 1024) = 0;

    /// Puts a new file in the place of the old one, or of none, by way of a temporary file beside
    /// it: at every moment, and after a failure or a crash, one of the two is there, whole. It has
    /// `initial`'s attributes from its first moment as far as this user may give them; the rest is
    /// as for createDirectory(). What writers that were killed left behind is removed. Anything but
    /// a regular file in the file's place is refused and left alone.
    [[nodiscard]] virtual SettingsFileResult
    writeAtomically(const QString &path, std::span<const std::byte> bytes,
                    const SettingsFileAttributes &initial) = 0;

    /// Writes over a regular file of one name, or makes one with mode 0666 less the process's mask.
    /// Waits for another writer or a reader at most a second, then it is Locked; the old bytes go
    /// only once the lock is held. Its attributes stay. On an error after that, a crash included,
    /// the file may hold a beginning of the new bytes.
    [[nodiscard]] virtual SettingsFileResult writeInPlace(const QString &path,
                                                          std::span<const std::byte> bytes) = 0;

    /// The same files in that account's hands, for what lies in a folder that he may change at any
    /// moment: whatever is done through the result is done with his rights and no others, makes
    /// files and folders of his, follows no link but root's and replaces nobody else's file. For
    /// root; any other user gets himself alone. The result may outlive this object.
    /// Two things are root's: a file of his that its mode keeps from himself is read all the same,
    /// and one that is replaced keeps its group, also one that he is not in, when `initial` names
    /// that.
    [[nodiscard]] virtual Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
    asUser(const QString &accountName) = 0;
};
