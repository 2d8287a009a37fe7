#pragma once

#include "platform/linux/settingsfiles/FilePlace.h"

#include <QByteArray>

#include <memory>

/// A temporary file beside the one that it is to replace. It is locked as long as its writer lives;
/// one that nobody locks is left over from a writer that was killed. Goes with its owner unless it
/// took the other's place.
class Replacement
{
public:
    /// Makes the file, empty and for the effective user alone.
    [[nodiscard]] static Result<Replacement, SettingsFileError>
    beside(const std::shared_ptr<const FilePlace> &place);
    ~Replacement();
    Replacement(Replacement &&other) noexcept;
    Replacement &operator=(Replacement &&) = delete;
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    [[nodiscard]] int file() const { return m_file.number(); }
    [[nodiscard]] const FilePlace &place() const { return *m_place; }

    /// Takes the place of the file that it was made for, or of none.
    [[nodiscard]] SettingsFileResult takePlace();

    /// Removes what killed writers of this file left behind, as far as this user may.
    static void removeLeftovers(const FilePlace &place);

private:
    Replacement(std::shared_ptr<const FilePlace> place, QByteArray name, Descriptor file);

    std::shared_ptr<const FilePlace> m_place;
    QByteArray m_name; ///< empty once there is nothing to remove
    Descriptor m_file;
};
