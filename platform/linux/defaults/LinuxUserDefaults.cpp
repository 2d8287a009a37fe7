#include "platform/linux/defaults/LinuxUserDefaults.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <utility>

#include <pwd.h>
#include <unistd.h>

std::shared_ptr<LinuxUserDefaults> LinuxUserDefaults::forUser(const QString &domain,
                                                              const QString &rootPrefix,
                                                              DiagnosticSink diagnostics)
{
    return std::make_shared<LinuxUserDefaults>(domain, layerFiles(domain, rootPrefix, homeFolder()),
                                               std::move(diagnostics));
}

std::shared_ptr<LinuxUserDefaults>
LinuxUserDefaults::forFile(const QString &domain, const QString &file, DiagnosticSink diagnostics)
{
    auto store = std::make_shared<LinuxUserDefaults>(domain, QStringList(), std::move(diagnostics));
    // The working folder may change later.
    store->m_layers.emplace_back(QFileInfo(file).absoluteFilePath(),
                                 DefaultsFile::Presence::Required);
    return store;
}

QStringList LinuxUserDefaults::layerFiles(const QString &domain, const QString &rootPrefix,
                                          const std::optional<QString> &homeFolder)
{
    const QString name = QLatin1Char('/') + domain + QLatin1String(".plist");
    QStringList files{rootPrefix + QLatin1String("/Library/Managed Preferences") + name};
    if (homeFolder)
        files.append(*homeFolder + QLatin1String("/Library/Preferences") + name);
    files.append(rootPrefix + QLatin1String("/Library/Preferences") + name);
    return files;
}

std::optional<QString> LinuxUserDefaults::homeFolder()
{
    // Larger than any entry that a directory service hands out.
    std::array<char, 65536> buffer{};
    passwd entry{};
    passwd *found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found ||
        !found->pw_dir || found->pw_dir[0] != '/')
        return std::nullopt;
    return QFile::decodeName(found->pw_dir);
}

LinuxUserDefaults::LinuxUserDefaults(QString domain, const QStringList &files,
                                     DiagnosticSink diagnostics)
    : m_domain(std::move(domain)), m_diagnostics(std::move(diagnostics))
{
    for (const QString &file : files)
        m_layers.emplace_back(file, DefaultsFile::Presence::Optional);
}

std::optional<QVariant> LinuxUserDefaults::objectForKey(const QString &key)
{
    QStringList report;
    std::optional<QVariant> result;
    {
        const std::lock_guard guard(m_lock);
        // The log's level is itself a value of this domain. So what a lookup finds wrong is
        // reported by the next one, when the first, of the level, has taken effect.
        report.swap(m_unreported);
        for (DefaultsFile &layer : m_layers) {
            if (const std::optional<QString> problem = layer.refresh())
                m_unreported.append(*problem);
            if (!result)
                result = layer.value(key);
        }
    }
    if (m_diagnostics) {
        for (const QString &line : std::as_const(report))
            m_diagnostics(1, DiagnosticType::Error, line);
    }
    return result;
}
