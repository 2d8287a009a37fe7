#include "tests/support/FakeSettingsFiles.h"

namespace {

Failure<SettingsFileError> failure(SettingsFileError::Code code, const QString &text)
{
    return Failure{SettingsFileError{code, text}};
}

Failure<SettingsFileError> missing(const QString &path)
{
    return failure(SettingsFileError::Code::Missing,
                   QStringLiteral("There is no \"%1\".").arg(path));
}

void give(FakeSettingsFiles::Entry &entry, const SettingsFileAttributes &attributes)
{
    entry.mode = attributes.mode;
    entry.owner = attributes.owner.value_or(entry.owner);
    entry.group = attributes.group.value_or(entry.group);
    if (attributes.groupId)
        entry.groupId = attributes.groupId;
}

} // namespace

std::optional<SettingsFileError> FakeSettingsFiles::started(const QString &operation,
                                                            const QString &path)
{
    const bool isLook =
        operation == QLatin1String("read") || operation == QLatin1String("attributes");
    (isLook ? looks : changes).append(m_actor + operation + QLatin1Char(' ') + path);
    const auto it = errors.constFind(operation);
    if (it == errors.cend())
        return std::nullopt;
    return SettingsFileError{SettingsFileError::Code::System, *it};
}

/// Hands every call on with the actor's name.
class FakeSettingsFiles::AsUser final : public SettingsFiles
{
    template<typename Call>
    auto by(Call call)
    {
        m_files.m_actor = m_actor;
        auto result = call();
        m_files.m_actor.clear();
        return result;
    }

public:
    AsUser(FakeSettingsFiles &files, const QString &name)
        : m_files(files), m_actor(QStringLiteral("as %1: ").arg(name))
    {
    }
    bool exists(const QString &path) override
    {
        return by([&] { return m_files.exists(path); });
    }
    Result<SettingsFileAttributes, SettingsFileError> attributes(const QString &path) override
    {
        return by([&] { return m_files.attributes(path); });
    }
    SettingsFileResult createDirectory(const QString &path,
                                       const SettingsFileAttributes &attributes) override
    {
        return by([&] { return m_files.createDirectory(path, attributes); });
    }
    SettingsFileResult setAttributes(const QString &path,
                                     const SettingsFileAttributes &attributes) override
    {
        return by([&] { return m_files.setAttributes(path, attributes); });
    }
    Result<SettingsFileBytes, SettingsFileError> read(const QString &path, SettingsFileTrust trust,
                                                      std::size_t limit) override
    {
        return by([&] { return m_files.read(path, trust, limit); });
    }
    SettingsFileResult writeAtomically(const QString &path, std::span<const std::byte> bytes,
                                       const SettingsFileAttributes &initial) override
    {
        return by([&] { return m_files.writeAtomically(path, bytes, initial); });
    }
    SettingsFileResult writeInPlace(const QString &path, std::span<const std::byte> bytes) override
    {
        return by([&] { return m_files.writeInPlace(path, bytes); });
    }
    Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
    asUser(const QString &accountName) override
    {
        return m_files.asUser(accountName);
    }

private:
    FakeSettingsFiles &m_files;
    QString m_actor;
};

Result<std::shared_ptr<SettingsFiles>, SettingsFileError>
FakeSettingsFiles::asUser(const QString &accountName)
{
    const auto it = errors.constFind(QStringLiteral("asUser"));
    if (it != errors.cend())
        return failure(SettingsFileError::Code::System, *it);
    return std::shared_ptr<SettingsFiles>(std::make_shared<AsUser>(*this, accountName));
}

bool FakeSettingsFiles::exists(const QString &path)
{
    looks.append(m_actor + QStringLiteral("exists ") + path);
    return entries.contains(path);
}

Result<SettingsFileAttributes, SettingsFileError> FakeSettingsFiles::attributes(const QString &path)
{
    if (const auto error = started(QStringLiteral("attributes"), path))
        return Failure{*error};
    const auto it = entries.constFind(path);
    if (it == entries.cend())
        return missing(path);
    SettingsFileAttributes result;
    result.mode = it->mode;
    result.owner = it->owner;
    result.groupId = it->groupId;
    return result;
}

SettingsFileResult FakeSettingsFiles::createDirectory(const QString &path,
                                                      const SettingsFileAttributes &attributes)
{
    if (const auto error = started(QStringLiteral("createDirectory"), path))
        return Failure{*error};
    if (entries.contains(path)) {
        return failure(SettingsFileError::Code::System,
                       QStringLiteral("\"%1\" is there already.").arg(path));
    }
    addFolder(path);
    give(entries[path], attributes);
    return std::monostate();
}

SettingsFileResult FakeSettingsFiles::setAttributes(const QString &path,
                                                    const SettingsFileAttributes &attributes)
{
    if (const auto error = started(QStringLiteral("setAttributes"), path))
        return Failure{*error};
    if (!entries.contains(path))
        return missing(path);
    give(entries[path], attributes);
    return std::monostate();
}

Result<SettingsFileBytes, SettingsFileError>
FakeSettingsFiles::read(const QString &path, SettingsFileTrust trust, std::size_t limit)
{
    if (const auto error = started(QStringLiteral("read"), path))
        return Failure{*error};
    const auto it = entries.constFind(path);
    if (it == entries.cend())
        return missing(path);
    if (it->isFolder) {
        return failure(SettingsFileError::Code::NotPlain,
                       QStringLiteral("\"%1\" is a folder.").arg(path));
    }
    if (trust == SettingsFileTrust::EffectiveUser && !it->isTrusted) {
        return failure(SettingsFileError::Code::NotTrusted,
                       QStringLiteral("\"%1\" is somebody else's.").arg(path));
    }
    const auto bytes =
        std::as_bytes(std::span(it->bytes.constData(), static_cast<std::size_t>(it->bytes.size())));
    if (bytes.size() > limit) {
        return failure(SettingsFileError::Code::TooLarge,
                       QStringLiteral("\"%1\" is too large.").arg(path));
    }
    return SettingsFileBytes(bytes.begin(), bytes.end());
}

SettingsFileResult FakeSettingsFiles::put(const QString &operation, const QString &path,
                                          std::span<const std::byte> bytes,
                                          const SettingsFileAttributes &initial)
{
    if (const auto error = started(operation, path))
        return Failure{*error};
    const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')));
    if (!entries.value(folder).isFolder)
        return missing(folder);
    if (entries.value(path).isFolder) {
        return failure(SettingsFileError::Code::NotPlain,
                       QStringLiteral("\"%1\" is a folder.").arg(path));
    }
    Entry &entry = entries[path];
    entry.bytes = QByteArray(reinterpret_cast<const char *>(bytes.data()),
                             static_cast<qsizetype>(bytes.size()));
    give(entry, initial);
    return std::monostate();
}

SettingsFileResult FakeSettingsFiles::writeAtomically(const QString &path,
                                                      std::span<const std::byte> bytes,
                                                      const SettingsFileAttributes &initial)
{
    return put(QStringLiteral("writeAtomically"), path, bytes, initial);
}

SettingsFileResult FakeSettingsFiles::writeInPlace(const QString &path,
                                                   std::span<const std::byte> bytes)
{
    return put(QStringLiteral("writeInPlace"), path, bytes,
               {.mode = entries.contains(path) ? entries[path].mode : 0644});
}
