#include "foundation/SSLogger.h"
#include "foundation/SSNumberReading.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettings.h"
#include "settings/SSLogonSettingsEncoding.h"
#include "settings/SSLogonSettingsTable.h"
#include "settings/SSOverloaded.h"

#include <utility>

using S = SSLogonSettings;

namespace {

const QString versionKey = QStringLiteral("LoginSettingsVersion");
constexpr qint64 version = 1;

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

Result<PropertyListDictionary, PropertyListError>
SSLogonSettingsEncoding::decoded(const PropertyListData &contents)
{
    const auto bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(contents.bytes.data()),
                                static_cast<qsizetype>(contents.bytes.size()));
    if (bytes.startsWith("bplist"))
        return readBinaryPropertyListDictionary(contents, limits);
    const PropertyListResult result = readXmlPropertyList(bytes, limits);
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

bool SSLogonSettings::write(const Row &row, PropertyListDictionary &dictionary) const
{
    const QString &key = Table::keyOf(row);
    return std::visit(
        SSOverloaded{[&](Boolean S::*field) {
                         dictionary.insert(key, this->*field);
                         return true;
                     },
                     [&](String S::*field) {
                         if (const String &text = this->*field)
                             dictionary.insert(key, *text);
                         return true;
                     },
                     [&](Secure S::*field) {
                         Secure data = this->*field;
                         if (!data)
                             return true;
                         if (row.cache == Row::Cache::KeysEnciphered)
                             data = SSSecurityHelper::encodeSecureData(data.get());
                         if (data)
                             dictionary.insert(key, PropertyListData{data->data(), data});
                         return data != nullptr;
                     },
                     [&](auto field) {
                         dictionary.insert(key, qlonglong{this->*field});
                         return true;
                     }},
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
            static_cast<void>(write(row, dictionary)); // none of them is enciphered
    }
    return dictionary;
}

std::optional<PropertyListDictionary> SSLogonSettings::serializeKeysHashes() const
{
    PropertyListDictionary dictionary{{versionKey, version}};
    for (const Row &row : Table::rows) {
        if (row.isKeyMaterial() && !write(row, dictionary))
            return std::nullopt;
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
    std::optional<PropertyListDictionary> dictionary = serializeKeysHashes();
    if (!dictionary) {
        SSLog(1, SSMessageType::Error, "Unable serialize settings hash.");
        return nullptr;
    }
    dictionary->insert(serialize());
    auto bytes = writeBinaryPropertyList(*dictionary, SSLogonSettingsEncoding::limits);
    if (!bytes) {
        SSLog(1, SSMessageType::Error, "Unable serialize login settings data. Error:%@",
              bytes.error().text);
        return nullptr;
    }
    auto data = SSSecureData::dataWithData(bytes.value());
    SSSecure::secureFree(bytes.value());
    return data;
}

std::unique_ptr<SSLogonSettings> SSLogonSettings::initWithSerializedData(const SSSecureData *data)
{
    if (!data || data->length() == 0)
        return nullptr;
    const auto dictionary = SSLogonSettingsEncoding::decoded({data->data(), nullptr});
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
