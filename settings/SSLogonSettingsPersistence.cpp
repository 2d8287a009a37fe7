#include "foundation/SSLogger.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/PropertyList.h"
#include "platform/SettingsFiles.h"
#include "platform/SystemInformation.h"
#include "platform/UserDefaultsStore.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"
#include "settings/SSLogonSettingsEncoding.h"

#include <utility>

namespace {

const QString loginWindowUser = QStringLiteral("_securityagent");
const QString administrators = QStringLiteral("admin");

SettingsFileAttributes folderAttributes()
{
    return {.mode = 0711, .owner = loginWindowUser, .group = administrators};
}
SettingsFileAttributes settingsFileAttributes()
{
    return {.mode = 0666, .owner = loginWindowUser, .group = administrators};
}
constexpr quint32 keyFileMode = 0600;

bool isRoot()
{
    return Platform::current().identity->effectiveUserId() == 0;
}

void logCause(const SettingsFileError &error)
{
    SSLog(1, SSMessageType::Error, "%@", error.localizedDescription);
}

/// Folder and name joined, empty without a name.
QString pathOf(const QString &fileName)
{
    if (fileName.isEmpty())
        return {};
    return SSLogonSettings::settingsPath() + u'/' + fileName;
}

bool correctRights(const QString &path, const SettingsFileAttributes &attributes)
{
    const auto result = Platform::current().settingsFiles->setAttributes(path, attributes);
    if (!result) {
        SSLog(1, SSMessageType::Error, "Unable correct rights of file: %@. Error:%@", path,
              result.error().localizedDescription);
    }
    return result.ok();
}

/// None, with both the message and the cause in the log, when the file cannot be read.
std::optional<PropertyListDictionary> readFile(const QString &path, SettingsFileTrust trust,
                                               const char *message)
{
    auto file = Platform::current().settingsFiles->read(
        path, trust, std::size_t{SSLogonSettingsEncoding::limits.fileSize});
    if (!file) {
        SSLog(1, SSMessageType::Error, message);
        logCause(file.error());
        return std::nullopt;
    }
    SettingsFileBytes contents = std::move(file).value();
    const auto bytes = SSSecureData::dataWithData(contents);
    SSSecure::secureFree(contents);
    auto dictionary = SSLogonSettingsEncoding::decoded({bytes->data(), bytes});
    if (!dictionary) {
        SSLog(1, SSMessageType::Error, message);
        SSLog(1, SSMessageType::Error, "%@: %@", path, dictionary.error().text);
        return std::nullopt;
    }
    return std::move(dictionary).value();
}

} // namespace

QString SSLogonSettings::settingsPath()
{
    const QString caches = Platform::current().system->cachesDirectory();
    if (caches.isEmpty())
        return {};
    return caches + QLatin1String("/ZevrikSelfService");
}

QString SSLogonSettings::settingsFileName()
{
    const QString domain = Platform::current().defaults->domain();
    return domain.isEmpty() ? QString() : domain + QLatin1String(".plist");
}

QString SSLogonSettings::keyHashesFileName()
{
    const QString domain = Platform::current().defaults->domain();
    return domain.isEmpty() ? QString() : domain + QLatin1String(".hash.plist");
}

bool SSLogonSettings::checkCreateSettingsDirectoryWithPath(const QString &path)
{
    SettingsFiles &files = *Platform::current().settingsFiles;
    if (files.exists(path))
        return true;
    auto result = files.createDirectory(path, folderAttributes());
    if (!result) {
        SSLog(1, SSMessageType::Error, "Unable create directory: %@. Error:%@", path,
              result.error().localizedDescription);
        return false;
    }
    result = files.setAttributes(path, folderAttributes());
    if (!result) {
        SSLog(1, SSMessageType::Error, "Unable change owner to the directory: %@. Error:%@", path,
              result.error().localizedDescription);
    }
    return result.ok();
}

bool SSLogonSettings::save() const
{
    const bool isTrusted =
        isRoot() || Platform::current().identity->accountName() == loginWindowUser;
    const QString folder = settingsPath();
    if (folder.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings path to save it.");
        return false;
    }
    if (!checkCreateSettingsDirectoryWithPath(folder))
        return false;
    const QString path = pathOf(settingsFileName());
    if (path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings file name to save it.");
        return false;
    }
    const auto bytes = writeBinaryPropertyList(serialize(), SSLogonSettingsEncoding::limits);
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize settings. Error: %@", bytes.error().text);
        return false;
    }
    SettingsFiles &files = *Platform::current().settingsFiles;
    const auto written = isTrusted
                             ? files.writeAtomically(path, bytes.value(), settingsFileAttributes())
                             : files.writeInPlace(path, bytes.value());
    if (!written) {
        SSLog(1, SSMessageType::Error, "Unable write settings to file.");
        logCause(written.error());
        return false;
    }
    if (isTrusted && !correctRights(path, settingsFileAttributes()))
        return false;
    return saveKeyHashes();
}

bool SSLogonSettings::saveKeyHashes() const
{
    if (!isRoot())
        return true;
    const QString folder = settingsPath();
    if (folder.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings hash path to save it.");
        return false;
    }
    if (!checkCreateSettingsDirectoryWithPath(folder))
        return false;
    const QString path = pathOf(keyHashesFileName());
    if (path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings hash file name to save it.");
        return false;
    }
    const auto dictionary = serializeKeysHashes();
    if (!dictionary) {
        SSLog(1, SSMessageType::Error, "Unable serialize settings hash.");
        return false;
    }
    auto bytes = writeBinaryPropertyList(*dictionary, SSLogonSettingsEncoding::limits);
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize settings hash. Error: %@",
              bytes.error().text);
        return false;
    }
    const auto written = Platform::current().settingsFiles->writeAtomically(
        path, bytes.value(), {.mode = keyFileMode, .owner = {}, .group = {}});
    SSSecure::secureFree(bytes.value());
    if (!written) {
        SSLog(1, SSMessageType::Error, "Unable write settings hash to file.");
        logCause(written.error());
        return false;
    }
    return correctRights(path, {.mode = keyFileMode, .owner = {}, .group = {}});
}

bool SSLogonSettings::load()
{
    const QString path = pathOf(settingsFileName());
    if (path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings file name to load it.");
        return false;
    }
    if (!Platform::current().settingsFiles->exists(path))
        return false;
    const auto dictionary =
        readFile(path, SettingsFileTrust::Anybody, "Unable load settings file.");
    if (!dictionary)
        return false;
    if (!deserialize(*dictionary)) {
        SSLog(1, SSMessageType::Error, "Unable de-serialize settings.");
        return false;
    }
    return loadKeyHashes();
}

bool SSLogonSettings::loadKeyHashes()
{
    if (!isRoot())
        return true;
    const QString path = pathOf(keyHashesFileName());
    if (path.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable get settings hash file name to load it.");
        return false;
    }
    if (!Platform::current().settingsFiles->exists(path))
        return false;
    const auto dictionary =
        readFile(path, SettingsFileTrust::EffectiveUser, "Unable load settings hash file.");
    if (!dictionary)
        return false;
    if (!deserializeKeyHashes(*dictionary)) {
        SSLog(1, SSMessageType::Error, "Unable de-serialize settings hash.");
        return false;
    }
    return true;
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::settingsFromCache()
{
    auto settings = std::make_unique<SSLogonSettings>();
    return settings->load() ? std::move(settings) : nullptr;
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::keysFromCache()
{
    auto settings = std::make_unique<SSLogonSettings>();
    return isRoot() && settings->loadKeyHashes() ? std::move(settings) : nullptr;
}
