#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

#include <sys/stat.h>

/// One property-list file as a layer of defaults: its dictionary, and what state of the file that
/// came from. Links are followed; only a regular file is read, and nothing is waited for.
class DefaultsFile
{
public:
    enum class Presence { Optional, Required };

    DefaultsFile(QString path, Presence presence);

    /// Reads the file again when it changed. The text of a new problem, once for each change of the
    /// file; the layer then is empty. One system call while nothing changes.
    [[nodiscard]] std::optional<QString> refresh();

    [[nodiscard]] std::optional<QVariant> value(const QString &key) const;

private:
    /// What a file's next state is told from the last one by.
    struct State
    {
        int error = 0; ///< errno of a file that cannot be looked at
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        mode_t mode = 0;
        qint64 modified = 0; ///< nanoseconds
        qint64 changed = 0;
        [[nodiscard]] bool operator==(const State &) const = default;
    };
    struct Contents
    {
        QByteArray bytes;
        QString problem; ///< empty when the bytes were read
        State state;     ///< of the file that was opened, or was to be
    };

    [[nodiscard]] static State stateOf(int result, const struct stat &status);
    /// `seen` is the state that the file was found in before it is opened.
    [[nodiscard]] Contents read(const State &seen) const;
    /// The problem with `contents`, empty for none. Takes over the dictionary.
    [[nodiscard]] QString take(const Contents &contents);

    QString m_path;
    Presence m_presence;
    std::optional<State> m_state;
    /// Kept while the file is so young that another change might leave its state as it is.
    std::optional<QByteArray> m_youngBytes;
    QVariantMap m_values;
};
