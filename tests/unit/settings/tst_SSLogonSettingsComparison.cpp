#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"
#include "tests/unit/settings/LogonSettingsFixture.h"

#include <QTest>

using namespace LogonSettingsFixture;

namespace {

struct Compared
{
    const char *property;
    const char *key; ///< in the cache
};

/// What is compared when everything is on, in this order. The computer's keys stand where they are
/// compared on demand.
constexpr Compared order[] = {
    {"appleMetaNodeLocation", "AppleMetaNodeLocation"},
    {"enabled", "AllowLoginScreenPasswordReset"},
    {"positionOnLoginScreen", "ResetPasswordButton.Position"},
    {"text", "ResetPasswordButton.OptionalText"},
    {"linkText", "ResetPasswordButton.Text"},
    {"linkURL", "WebInterfaceURL"},
    {"resetDlgTitle", "ResetPasswordDialog.Title"},
    {"loadingText", "ResetPasswordDialog.LoadingText"},
    {"errorUnableResetPasswordMessageT", "UpdateCredentialsCache.Disabled.Error"},
    {"errorUnableResetPasswordTitle", "UpdateCredentialsCache.Disabled.Title"},
    {"errorUnableExchangeKeysMessageT", "ExchangeKeys.Error"},
    {"errorUnableExchangeKeysTitle", "ExchangeKeys.Title"},
    {"errorUnableExchangeKeys", "ExchangeKeys.GeneratedError"},
    {"oprEnabled", "OfflinePasswordReset.Enabled"},
    {"oprStepsDialogTitle", "OfflinePasswordReset.StepsDialogTitle"},
    {"oprStepsDialogHeaderText", "OfflinePasswordReset.StepsDialogHeaderText"},
    {"oprStepsDialogStep1Text", "OfflinePasswordReset.StepsDialogStep1Text"},
    {"oprStepsDialogStep2Text", "OfflinePasswordReset.StepsDialogStep2Text"},
    {"oprStepsDialogStep3Text", "OfflinePasswordReset.StepsDialogStep3Text"},
    {"oprStepsDialogStep4Text", "OfflinePasswordReset.StepsDialogStep4Text"},
    {"oprStepsDialogCancelButtonText", "OfflinePasswordReset.StepsDialogCancelButtonText"},
    {"oprStepsDialogResetPasswordButtonText",
     "OfflinePasswordReset.StepsDialogResetPasswordButtonText"},
    {"oprStepsDialogNewPasswordLabel", "OfflinePasswordReset.StepsDialogNewPasswordLabel"},
    {"oprStepsDialogResponseKeyLabel", "OfflinePasswordReset.StepsDialogResponseKeyLabel"},
    {"oprIntroDialogTitle", "OfflinePasswordReset.IntroDialogTitle"},
    {"oprIntroDialogText1", "OfflinePasswordReset.IntroDialogText1"},
    {"oprIntroDialogText2", "OfflinePasswordReset.IntroDialogText2"},
    {"oprIntroDialogCancelButtonText", "OfflinePasswordReset.IntroDialogCancelButtonText"},
    {"oprIntroDialogRetryButtonText", "OfflinePasswordReset.IntroDialogRetryButtonText"},
    {"oprIntroDialogResetOfflineButtonText",
     "OfflinePasswordReset.IntroDialogResetOfflineButtonText"},
    {"oprIntroDialogError", "OfflinePasswordReset.IntroDialogError"},
    {"oprInvalidResponseKeyError", "OfflinePasswordReset.InvalidResponseKeyError"},
    {"updCredCacheEnabled", "UpdateCredentialsCache.Enabled"},
    {"updCredCacheError", "UpdateCredentialsCache.Error"},
    {"computerRID", "ConfigurationSet.ComputerRID"},
    {"configurationSetPublicKey", "ConfigurationSet.PublicKey"},
    {"cipheredSessionKey", "ConfigurationSet.CipheredSessionKey"},
    {"sessionKey", "ConfigurationSet.SessionKey"},
    {"fileVaultPromptEnabled", "FileVaultSyncPrompt.Enabled"},
    {"fileVaultPromptTitle", "FileVaultSyncPrompt.Title"},
    {"fileVaultPromptText", "FileVaultSyncPrompt.Text"},
    {"fileVaultPromptSkipButtonText", "FileVaultSyncPrompt.SkipButtonText"},
    {"fileVaultPromptRemindLaterButtonText", "FileVaultSyncPrompt.RemindLaterButtonText"},
    {"fileVaultPromptRemindLaterIntervalMins", "FileVaultSyncPrompt.RemindLaterIntervalMins"},
    {"fileVaultDialogText1", "FileVaultSyncDialog.Text1"},
    {"fileVaultDialogText2", "FileVaultSyncDialog.Text2"},
    {"fileVaultDialogUsernameLabel", "FileVaultSyncDialog.UsernameLabel"},
    {"fileVaultDialogPasswordLabel", "FileVaultSyncDialog.PasswordLabel"},
    {"fileVaultDialogCancelButtonText", "FileVaultSyncDialog.CancelButtonText"},
    {"fileVaultDialogSkipButtonText", "FileVaultSyncDialog.SkipButtonText"},
    {"fileVaultDialogContinueButtonText", "FileVaultSyncDialog.ContinueButtonText"},
    {"fileVaultDialogNotSecureTokenError", "FileVaultSyncDialog.NotSecureTokenEnabledError"},
    {"fileVaultDialogPasswordNotInSyncError", "FileVaultSyncDialog.PasswordNotInSyncError"},
    {"fileVaultNewPasswordDialogText", "FileVaultSyncNewPasswordDialog.Text"},
    {"fileVaultNewPasswordDialogPasswordLabel", "FileVaultSyncNewPasswordDialog.PasswordLabel"},
    {"fileVaultNewPasswordDialogCancelButtonText",
     "FileVaultSyncNewPasswordDialog.CancelButtonText"},
    {"fileVaultNewPasswordDialogOkButtonText", "FileVaultSyncNewPasswordDialog.OkButtonText"},
    {"fileVaultNewPasswordDialogInvalidPasswordError",
     "FileVaultSyncNewPasswordDialog.InvalidPasswordError"},
};

QVariant bytesValue(const SSSecureData &data)
{
    return QByteArray(reinterpret_cast<const char *>(data.bytes()),
                      static_cast<qsizetype>(data.length()));
}

} // namespace

class tst_SSLogonSettingsComparison : public QObject
{
    Q_OBJECT

    /// Everything on and every value there, the key material included.
    static PropertyListDictionary full()
    {
        SSLogonSettings settings;
        load(settings, everyKeyword());
        PropertyListDictionary dictionary = settings.serialize();
        dictionary.insert(u"ExchangeKeys.GeneratedError"_s, u"generated"_s);
        dictionary.insert(u"ConfigurationSet.ComputerRID"_s, qlonglong{1104});
        dictionary.insert(u"ConfigurationSet.PublicKey"_s, QByteArray("public"));
        const auto session = SSSecureData::dataWithData(SSSecure::bytes("session"));
        dictionary.insert(u"ConfigurationSet.SessionKey"_s,
                          bytesValue(*SSSecurityHelper::encodeSecureData(session.get())));
        dictionary.insert(u"ConfigurationSet.CipheredSessionKey"_s, QByteArray("ciphered"));
        return dictionary;
    }

    static QVariant changed(const QString &key, const QVariant &value)
    {
        if (key == u"ConfigurationSet.SessionKey"_s) {
            const auto other = SSSecureData::dataWithData(SSSecure::bytes("another"));
            return bytesValue(*SSSecurityHelper::encodeSecureData(other.get()));
        }
        switch (value.typeId()) {
        case QMetaType::Bool:
            return !value.toBool();
        case QMetaType::LongLong:
            return value.toLongLong() + 1;
        case QMetaType::QByteArray:
            return QByteArray("other");
        default:
            return value.toString() + u"!"_s;
        }
    }

    static std::unique_ptr<SSLogonSettings> settings(const PropertyListDictionary &dictionary)
    {
        auto result = std::make_unique<SSLogonSettings>();
        if (!result->deserialize(dictionary) || !result->deserializeKeyHashes(dictionary))
            return nullptr;
        return result;
    }

    static std::unique_ptr<SSLogonSettings> with(const QString &key, const QVariant &value)
    {
        PropertyListDictionary dictionary = full();
        dictionary.insert(key, value);
        return settings(dictionary);
    }

    static bool isKey(const Compared &row)
    {
        return QLatin1String(row.key).startsWith(QLatin1String("ConfigurationSet."));
    }

private Q_SLOTS:
    void theFirstDifferenceInTheOrderOfComparingDecides_data()
    {
        QTest::addColumn<int>("place");
        for (std::size_t i = 0; i < std::size(order); ++i)
            QTest::newRow(order[i].property) << static_cast<int>(i);
    }
    void theFirstDifferenceInTheOrderOfComparingDecides()
    {
        QFETCH(int, place);
        const OfflinePlatform fake;
        const auto ours = settings(full());
        // Everything from the place on differs, so what is compared too early shows.
        PropertyListDictionary dictionary = full();
        for (std::size_t i = static_cast<std::size_t>(place); i < std::size(order); ++i) {
            const QString key = QString::fromLatin1(order[i].key);
            const auto value = dictionary.value(key);
            QVERIFY2(value, order[i].key);
            dictionary.insert(key, changed(key, *value));
        }
        const auto theirs = settings(dictionary);
        QVERIFY(theirs);
        const Compared &first = order[place];
        const QString expected = QString::fromLatin1(first.property);
        if (expected == u"fileVaultPromptEnabled"_s) {
            // Read from a cache it is always on; the next one decides.
            QCOMPARE(ours->firstDifference(*theirs, true),
                     std::optional(u"fileVaultPromptTitle"_s));
            return;
        }
        QCOMPARE(ours->firstDifference(*theirs, true), std::optional(expected));
        QVERIFY(!ours->compare(theirs.get(), true));
        if (isKey(first)) {
            QVERIFY(!ours->compare(theirs.get(), false)); // for what follows
        }
    }

    void oneDifferenceAlone_data() { theFirstDifferenceInTheOrderOfComparingDecides_data(); }
    void oneDifferenceAlone()
    {
        QFETCH(int, place);
        const OfflinePlatform fake;
        const Compared &row = order[place];
        const QString key = QString::fromLatin1(row.key);
        const auto ours = settings(full());
        const auto theirs = with(key, changed(key, *full().value(key)));
        const bool readsAsEqual = key == u"FileVaultSyncPrompt.Enabled"_s;
        QCOMPARE(ours->compare(theirs.get(), true), readsAsEqual);
        QCOMPARE(theirs->compare(ours.get(), true), readsAsEqual);
        QCOMPARE(ours->compare(theirs.get(), false), readsAsEqual || isKey(row));
    }

    void anAbsentTextIsNotAnEmptyOne()
    {
        const OfflinePlatform fake;
        PropertyListDictionary dictionary;
        for (const auto &[key, value] : full()) {
            if (key != u"ResetPasswordButton.OptionalText"_s)
                dictionary.insert(key, value);
        }
        const auto without = settings(dictionary);
        const auto empty = with(u"ResetPasswordButton.OptionalText"_s, QString());
        QCOMPARE(without->firstDifference(*empty, true), std::optional(u"text"_s));
        QVERIFY(without->compare(settings(dictionary).get(), true));
    }

    void sameObjectAndNull()
    {
        const OfflinePlatform fake;
        const SSLogonSettings s;
        QVERIFY(s.compare(&s, true));
        QVERIFY(!s.compare(nullptr, true));
        QVERIFY(!s.compare(nullptr, false));
        const SSLogonSettings other;
        QVERIFY(s.compare(&other, true));
    }

    void aDifferentProxyIsNoDifference()
    {
        const OfflinePlatform fake;
        const auto ours = settings(full());
        QVERIFY(ours->compare(with(u"EnrollTrayProxy"_s, u"another:1"_s).get(), true));
    }

    void switchedOffNothingElseCounts()
    {
        const OfflinePlatform fake;
        PropertyListDictionary dictionary = full();
        dictionary.insert(u"AllowLoginScreenPasswordReset"_s, false);
        const auto ours = settings(dictionary);
        for (const Compared &row : order) {
            const QString key = QString::fromLatin1(row.key);
            if (key == u"AllowLoginScreenPasswordReset"_s || key == u"AppleMetaNodeLocation"_s)
                continue;
            PropertyListDictionary other = dictionary;
            other.insert(key, changed(key, *dictionary.value(key)));
            QVERIFY2(ours->compare(settings(other).get(), true), row.property);
        }
        dictionary.insert(u"AppleMetaNodeLocation"_s, u"/elsewhere"_s);
        QVERIFY(!ours->compare(settings(dictionary).get(), true));
    }

    void whatIsOffHidesItsTexts()
    {
        const OfflinePlatform fake;
        PropertyListDictionary dictionary = full();
        dictionary.insert(u"OfflinePasswordReset.Enabled"_s, false);
        const auto offlineOff = settings(dictionary);
        dictionary.insert(u"OfflinePasswordReset.StepsDialogTitle"_s, u"other"_s);
        QVERIFY(offlineOff->compare(settings(dictionary).get(), true));
        // The credentials cache still needs the error text and the keys.
        dictionary.insert(u"ConfigurationSet.ComputerRID"_s, qlonglong{1});
        QCOMPARE(offlineOff->firstDifference(*settings(dictionary), true),
                 std::optional(u"computerRID"_s));
        dictionary.insert(u"UpdateCredentialsCache.Enabled"_s, false);
        const auto bothOff = settings(dictionary);
        dictionary.insert(u"UpdateCredentialsCache.Error"_s, u"other"_s);
        dictionary.insert(u"ConfigurationSet.ComputerRID"_s, qlonglong{2});
        QVERIFY(bothOff->compare(settings(dictionary).get(), true));
    }

    void theSwitchOfThePromptIsComparedAndHidesItsTexts()
    {
        const OfflinePlatform fake;
        Data off = everyKeyword();
        off[u"FileVaultSyncPrompt.Enabled"_s] = u"0"_s;
        SSLogonSettings on;
        SSLogonSettings without;
        load(on, everyKeyword());
        load(without, off);
        QCOMPARE(on.firstDifference(without, true), std::optional(u"fileVaultPromptEnabled"_s));
        off[u"FileVaultSyncPrompt.Title"_s] = u"other"_s;
        SSLogonSettings other;
        load(other, off);
        QVERIFY(without.compare(&other, true));
    }

    void theSessionKeyCountsOnDemand()
    {
        const OfflinePlatform fake;
        const auto a = settings(full());
        const auto b = settings(full());
        b->clearSessionKey();
        QVERIFY(a->compare(b.get(), false));
        QVERIFY(!a->compare(b.get(), true));
        b->copySessionKeyFromSettings(a.get());
        QVERIFY(a->compare(b.get(), true));
    }
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsComparison)
#include "tst_SSLogonSettingsComparison.moc"
