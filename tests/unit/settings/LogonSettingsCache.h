#pragma once

#include "platform/PropertyList.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"
#include "tests/unit/settings/LogonSettingsFixture.h"

/// Settings as they stand in the cache, and a platform to keep them on.
namespace LogonSettingsFixture {

inline const QString folder = u"/Library/Caches/ZevrikSelfService"_s;
inline const QString settingsFile = folder + u"/com.zevrik.selfservice.plist"_s;
inline const QString keyFile = folder + u"/com.zevrik.selfservice.hash.plist"_s;

inline QString error(const QString &text)
{
    return u"[Error]: "_s + text;
}

inline QVariantMap read(const QByteArray &bytes)
{
    const PropertyListResult result = readBinaryPropertyList(bytes);
    return result ? result.value().toMap() : QVariantMap();
}

/// Encodes what a test puts together itself.
inline QByteArray encoded(const PropertyListDictionary &dictionary)
{
    const auto bytes = writeBinaryPropertyList(dictionary);
    return {reinterpret_cast<const char *>(bytes.value().data()),
            static_cast<qsizetype>(bytes.value().size())};
}

/// A platform whose folder for caches is there, and nothing in it.
struct CacheFixture
{
    explicit CacheFixture(quint32 userId = 1000, const QString &name = u"jdoe"_s)
    {
        fake.identity->userId = userId;
        fake.identity->name = name;
        fake.settingsFiles->addFolder(u"/Library/Caches"_s);
        load(settings, everyKeyword());
        fake.log->clear();
    }
    [[nodiscard]] QStringList errors() const { return fake.log->lines().filter(u"[Error]"_s); }
    void fails(const QString &operation)
    {
        fake.settingsFiles->errors.insert(operation, u"no such luck"_s);
    }
    [[nodiscard]] FakeSettingsFiles &files() const { return *fake.settingsFiles; }

    OfflinePlatform fake;
    SSLogonSettings settings;
};

inline QStringList settingsKeys()
{
    QStringList keys{u"LoginSettingsVersion"_s,
                     u"AppleMetaNodeLocation"_s,
                     u"AllowLoginScreenPasswordReset"_s,
                     u"ResetPasswordButton.Position"_s,
                     u"ResetPasswordButton.OptionalText"_s,
                     u"ResetPasswordButton.Text"_s,
                     u"WebInterfaceURL"_s,
                     u"EnrollTrayProxy"_s,
                     u"ResetPasswordDialog.Title"_s,
                     u"ResetPasswordDialog.LoadingText"_s,
                     u"UpdateCredentialsCache.Disabled.Error"_s,
                     u"UpdateCredentialsCache.Disabled.Title"_s,
                     u"ExchangeKeys.Error"_s,
                     u"ExchangeKeys.Title"_s,
                     u"ExchangeKeys.GeneratedError"_s,
                     u"UpdateCredentialsCache.Enabled"_s,
                     u"UpdateCredentialsCache.Error"_s,
                     u"OfflinePasswordReset.Enabled"_s};
    const QStringList offline = offlineTexts();
    for (const QString &name : offline)
        keys.append(u"OfflinePasswordReset."_s + name);
    keys.append(u"FileVaultSyncPrompt.Enabled"_s);
    return keys + fileVaultPromptKeys() + fileVaultDialogKeys();
}
inline QStringList keyKeys()
{
    return {u"LoginSettingsVersion"_s, u"ConfigurationSet.ComputerRID"_s,
            u"ConfigurationSet.PublicKey"_s, u"ConfigurationSet.SessionKey"_s,
            u"ConfigurationSet.CipheredSessionKey"_s};
}
inline QStringList keysOf(const PropertyListDictionary &dictionary)
{
    QStringList keys;
    for (const auto &entry : dictionary)
        keys.append(entry.first);
    return keys;
}
/// A settings file of every key, as another program would have written it.
inline PropertyListDictionary everyCachedKey()
{
    PropertyListDictionary dictionary;
    const QStringList keys = settingsKeys();
    for (const QString &key : keys)
        dictionary.insert(key, u"cached "_s + key);
    dictionary.insert(u"LoginSettingsVersion"_s, qlonglong{1});
    for (const auto &key : {u"AllowLoginScreenPasswordReset"_s, u"UpdateCredentialsCache.Enabled"_s,
                            u"OfflinePasswordReset.Enabled"_s, u"FileVaultSyncPrompt.Enabled"_s}) {
        dictionary.insert(key, true);
    }
    dictionary.insert(u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s, qlonglong{-5});
    return dictionary;
}
inline PropertyListDictionary everyCachedKeyHash()
{
    const auto enciphered = SSSecurityHelper::encodeSecureData(secure("session").get());
    return {{u"LoginSettingsVersion"_s, qlonglong{1}},
            {u"ConfigurationSet.ComputerRID"_s, qlonglong{0xFFFFFFFF}},
            {u"ConfigurationSet.PublicKey"_s, QByteArray("public")},
            {u"ConfigurationSet.SessionKey"_s,
             QByteArray(reinterpret_cast<const char *>(enciphered->bytes()),
                        static_cast<qsizetype>(enciphered->length()))},
            {u"ConfigurationSet.CipheredSessionKey"_s, QByteArray("ciphered")}};
}

} // namespace LogonSettingsFixture
