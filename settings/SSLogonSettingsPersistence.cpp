#include "foundation/SSLogger.h"
#include "foundation/SSNumberReading.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "platform/PropertyList.h"
#include "platform/SettingsFiles.h"
#include "platform/SystemInformation.h"
#include "platform/UserDefaultsStore.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettings.h"
#include "settings/SSLogonSettingsTable.h"
#include "settings/SSOverloaded.h"

#include <utility>

using S = SSLogonSettings;

namespace {

const QString versionKey = QStringLiteral("LoginSettingsVersion");
constexpr qint64 version = 1;

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

using Contents = std::shared_ptr<const SettingsFileBytes>;

/// The dictionary of a property list of either form.
Result<PropertyListDictionary, PropertyListError> dictionaryOf(const PropertyListData &contents)
{
    const auto bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(contents.bytes.data()),
                                static_cast<qsizetype>(contents.bytes.size()));
    if (bytes.startsWith("bplist"))
        return readBinaryPropertyListDictionary(contents);
    const PropertyListResult result = readXmlPropertyList(bytes);
    if (!result)
        return Failure{result.error()};
    if (result.value().typeId() != QMetaType::QVariantMap)
        return Failure{PropertyListError{QStringLiteral("the top value is no dictionary")}};
    PropertyListDictionary dictionary;
    const QVariantMap map = result.value().toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        dictionary.insert(it.key(), it.value());
    return dictionary;
}

/// None, with both the message and the cause in the log, when the file cannot be read.
std::optional<PropertyListDictionary> readFile(const QString &path, SettingsFileTrust trust,
                                               const char *message)
{
    auto file = Platform::current().settingsFiles->read(path, trust);
    if (!file) {
        SSLog(1, SSMessageType::Error, message);
        logCause(file.error());
        return std::nullopt;
    }
    const auto bytes = std::make_shared<const SettingsFileBytes>(std::move(file).value());
    auto dictionary = dictionaryOf({*bytes, bytes});
    if (!dictionary) {
        SSLog(1, SSMessageType::Error, message);
        SSLog(1, SSMessageType::Error, "%@: %@", path, dictionary.error().text);
        return std::nullopt;
    }
    return std::move(dictionary).value();
}

bool isSupported(const PropertyListDictionary &dictionary)
{
    const QVariant *const value = dictionary.find(versionKey);
    return value && SSNumberReading::integerValue(*value) == version;
}

std::optional<QString> textOf(const QVariant *value, const QString &key)
{
    if (!value)
        return std::nullopt;
    if (value->typeId() != QMetaType::QString) {
        SSLog(1, SSMessageType::Error, "The value of %@ in the login settings is not a text.", key);
        return std::nullopt;
    }
    return value->toString();
}

std::shared_ptr<SSSecureData> dataOf(const QVariant *value, const QString &key)
{
    if (!value)
        return nullptr;
    if (value->typeId() == QMetaType::QByteArray)
        return SSSecureData::dataWithData(SSSecure::bytes(value->toByteArray()));
    if (value->metaType() != QMetaType::fromType<PropertyListData>()) {
        SSLog(1, SSMessageType::Error, "The value of %@ in the login settings is not data.", key);
        return nullptr;
    }
    return SSSecureData::dataWithData(value->value<PropertyListData>().bytes);
}

} // namespace

const QString &SSLogonSettings::Table::keyOf(const Row &row)
{
    static const std::array<QString, rowCount> keys{{
#define SS_LOGON_SETTING(type, property, key, ...) QStringLiteral(key),
#include "settings/SSLogonSettings.def"
#undef SS_LOGON_SETTING
    }};
    return keys.at(static_cast<std::size_t>(&row - rows.data()));
}

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
    const auto bytes = writeBinaryPropertyList(serialize());
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
    const auto bytes = writeBinaryPropertyList(serializeKeysHashes());
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize settings hash. Error: %@",
              bytes.error().text);
        return false;
    }
    const auto written = Platform::current().settingsFiles->writeAtomically(
        path, bytes.value(), {.mode = keyFileMode, .owner = {}, .group = {}});
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

void SSLogonSettings::write(const Row &row, PropertyListDictionary &dictionary) const
{
    const QString &key = Table::keyOf(row);
    std::visit(SSOverloaded{[&](Boolean S::*field) { dictionary.insert(key, this->*field); },
                            [&](String S::*field) {
                                if (const String &text = this->*field)
                                    dictionary.insert(key, *text);
                            },
                            [&](Secure S::*field) {
                                Secure data = this->*field;
                                if (data && row.cache == Row::Cache::KeysEnciphered)
                                    data = SSSecurityHelper::encodeSecureData(data.get());
                                if (data)
                                    dictionary.insert(key, PropertyListData{data->data(), data});
                            },
                            [&](auto field) { dictionary.insert(key, qlonglong{this->*field}); }},
               row.field);
}

void SSLogonSettings::read(const Row &row, const PropertyListDictionary &dictionary)
{
    const QString &key = Table::keyOf(row);
    const QVariant *const found = dictionary.find(key);
    const auto value = [&] { return found ? *found : QVariant(); };
    std::visit(SSOverloaded{[&](Boolean S::*field) {
                                this->*field = row.cache == Row::Cache::SettingsByPresence
                                                   ? found != nullptr
                                                   : SSNumberReading::boolValue(value());
                            },
                            [&](String S::*field) { this->*field = textOf(found, key); },
                            [&](Secure S::*field) {
                                std::shared_ptr<SSSecureData> data = dataOf(found, key);
                                if (data && row.cache == Row::Cache::KeysEnciphered)
                                    data = SSSecurityHelper::decodeSecureData(data.get());
                                this->*field = data;
                            },
                            [&](auto field) {
                                using Number = std::remove_reference_t<decltype(this->*field)>;
                                this->*field =
                                    static_cast<Number>(SSNumberReading::integerValue(value()));
                            }},
               row.field);
}

PropertyListDictionary SSLogonSettings::serialize() const
{
    PropertyListDictionary dictionary;
    dictionary.reserve(qsizetype{rowCount} + 1);
    dictionary.insert(versionKey, version);
    for (const Row &row : Table::rows) {
        if (!row.isKeyMaterial())
            write(row, dictionary);
    }
    return dictionary;
}

PropertyListDictionary SSLogonSettings::serializeKeysHashes() const
{
    PropertyListDictionary dictionary{{versionKey, version}};
    for (const Row &row : Table::rows) {
        if (row.isKeyMaterial())
            write(row, dictionary);
    }
    return dictionary;
}

bool SSLogonSettings::deserialize(const PropertyListDictionary &dictionary)
{
    reset();
    if (!isSupported(dictionary))
        return false;
    for (const Row &row : Table::rows) {
        if (!row.isKeyMaterial())
            read(row, dictionary);
    }
    return true;
}

bool SSLogonSettings::deserializeKeyHashes(const PropertyListDictionary &dictionary)
{
    if (!isSupported(dictionary))
        return false;
    for (const Row &row : Table::rows) {
        if (row.isKeyMaterial())
            read(row, dictionary);
    }
    return true;
}

std::shared_ptr<SSSecureData> SSLogonSettings::serializedData() const
{
    PropertyListDictionary dictionary = serializeKeysHashes();
    dictionary.insert(serialize());
    const auto bytes = writeBinaryPropertyList(dictionary);
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize login settings data. Error:%@",
              bytes.error().text);
        return nullptr;
    }
    return SSSecureData::dataWithData(std::span<const std::byte>(bytes.value()));
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::initWithSerializedData(const SSSecureData *data)
{
    if (!data || data->length() == 0)
        return nullptr;
    const auto dictionary = dictionaryOf({data->data(), nullptr});
    if (!dictionary || dictionary.value().isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable de-serialize login settings data. Error:%@",
              dictionary ? std::optional<QString>() : dictionary.error().text);
        return nullptr;
    }
    auto settings = std::make_unique<SSLogonSettings>();
    if (!settings->deserialize(dictionary.value()) ||
        !settings->deserializeKeyHashes(dictionary.value())) {
        return nullptr;
    }
    return settings;
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::settingsFromData(const SSSecureData *data)
{
    return initWithSerializedData(data);
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::settingsFromCache()
{
    auto settings = std::make_unique<SSLogonSettings>();
    return settings->load() ? std::move(settings) : nullptr;
}
