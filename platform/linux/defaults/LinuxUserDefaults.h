#pragma once

#include "platform/Diagnostics.h"
#include "platform/UserDefaultsStore.h"
#include "platform/linux/defaults/DefaultsFile.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// A defaults domain kept in property-list files, one a layer. Every lookup asks for each file's
/// state and reads only those that changed, so that a change takes effect at the next lookup. A
/// file that cannot be used counts as empty and is reported once for each change of it. Any thread.
class LinuxUserDefaults final : public UserDefaultsStore
{
public:
    /// The layers of the domain for the user of this process: managed, the user's, the computer's.
    /// `rootPrefix` is put before "/Library"; the home folder is the account database's.
    [[nodiscard]] static std::shared_ptr<LinuxUserDefaults>
    forUser(const QString &domain, const QString &rootPrefix, DiagnosticSink diagnostics);

    /// One given file alone, which must exist to count as usable.
    [[nodiscard]] static std::shared_ptr<LinuxUserDefaults>
    forFile(const QString &domain, const QString &file, DiagnosticSink diagnostics);

    /// Where forUser() looks, in the order of precedence; without a home folder there are two
    /// files.
    [[nodiscard]] static QStringList layerFiles(const QString &domain, const QString &rootPrefix,
                                                const std::optional<QString> &homeFolder);

    /// The home folder of this process's effective user in the account database, whatever the
    /// environment says.
    [[nodiscard]] static std::optional<QString> homeFolder();

    /// Layers of `files`, first come first served; a missing one is empty.
    LinuxUserDefaults(QString domain, const QStringList &files, DiagnosticSink diagnostics);

    [[nodiscard]] QString domain() const override { return m_domain; }
    [[nodiscard]] std::optional<QVariant> objectForKey(const QString &key) override;

private:
    QString m_domain;
    DiagnosticSink m_diagnostics;
    std::mutex m_lock;
    std::vector<DefaultsFile> m_layers;
    QStringList m_unreported; ///< see objectForKey
};
