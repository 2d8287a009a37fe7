#include "security/SSSecureData.h"
#include "tests/unit/settings/LogonSettingsFixture.h"

#include <QTest>

using namespace LogonSettingsFixture;

class tst_SSLogonSettings : public QObject
{
    Q_OBJECT

    static SSSettingProvenance provenance(const SSLogonSettings &settings, const QString &property)
    {
        for (const SSSettingProvenance &entry : settings.provenance()) {
            if (entry.property == property)
                return entry;
        }
        return {};
    }

    static void compareReset(const SSLogonSettings &s)
    {
        SSLogonSettings fresh;
        QCOMPARE(s.serialize(), fresh.serialize());
        QVERIFY(!s.configurationSetPublicKey());
        QVERIFY(!s.sessionKey());
        QVERIFY(!s.cipheredSessionKey());
        QCOMPARE(s.computerRID(), 0U);
    }

private Q_SLOTS:
    void aNewObjectIsReset()
    {
        const SSLogonSettings s;
        QVERIFY(!s.appleMetaNodeLocation());
        QCOMPARE(s.enabled(), false);
        QCOMPARE(s.updCredCacheEnabled(), false);
        QCOMPARE(s.oprEnabled(), false);
        QCOMPARE(s.fileVaultPromptEnabled(), false);
        QCOMPARE(s.fileVaultPromptRemindLaterIntervalMins(), 0);
        QCOMPARE(s.computerRID(), 0U);
        for (const SSSettingProvenance &entry : s.provenance()) {
            QVERIFY(!entry.resolved);
            if (entry.value.typeId() == QMetaType::QString)
                QFAIL(qPrintable(entry.property));
        }
        QVERIFY(!s.errorUnableExchangeKeys());
        QVERIFY(!s.sessionKey() && !s.cipheredSessionKey() && !s.configurationSetPublicKey());
    }

    void everyTextOfTheDirectoryReachesItsProperty()
    {
        const FakePlatform fake;
        SSLogonSettings s;
        load(s, everyKeyword());
        const auto bracketed = [](const char16_t *keyword) {
            return std::optional(u"<"_s + QString::fromUtf16(keyword) + u">"_s);
        };
        QCOMPARE(s.positionOnLoginScreen(),
                 bracketed(u"WinlogonResetPassword.PositionOnLoginScreen"));
        QCOMPARE(s.text(), bracketed(u"WinlogonResetPassword.Text"));
        QCOMPARE(s.linkText(), bracketed(u"WinlogonResetPassword.LinkText"));
        QCOMPARE(s.linkURL(), bracketed(u"WinlogonResetPassword.WebUiUrl"));
        QCOMPARE(s.proxy(), bracketed(u"EnrollSysNotification.Proxy"));
        QCOMPARE(s.updCredCacheError(), bracketed(u"UpdateCredentialsCache.Error"));
        QCOMPARE(s.oprStepsDialogTitle(), bracketed(u"OfflinePasswordReset.StepsDialogTitle"));
        QCOMPARE(s.oprStepsDialogResponseKeyLabel(),
                 bracketed(u"OfflinePasswordReset.StepsDialogResponseKeyLabel"));
        QCOMPARE(s.oprIntroDialogError(), bracketed(u"OfflinePasswordReset.IntroDialogError"));
        QCOMPARE(s.oprInvalidResponseKeyError(),
                 bracketed(u"OfflinePasswordReset.InvalidResponseKeyError"));
        QCOMPARE(s.fileVaultPromptText(), bracketed(u"FileVaultSyncPrompt.Text"));
        QCOMPARE(s.fileVaultPromptRemindLaterIntervalMins(), 45);
        QCOMPARE(s.fileVaultDialogNotSecureTokenError(),
                 bracketed(u"FileVaultSyncDialog.NotSecureTokenEnabledError"));
        QCOMPARE(s.fileVaultNewPasswordDialogInvalidPasswordError(),
                 bracketed(u"FileVaultSyncNewPasswordDialog.InvalidPasswordError"));
        const auto key = SSSecureData::initWithBase64EncodedString(u"AQIDBAUG"_s);
        QVERIFY(s.configurationSetPublicKey()->isEqualToSecureData(key.get()));
        s.reset();
        compareReset(s);
    }

    void switchedOffItHoldsTheNodeLocationAlone()
    {
        const FakePlatform fake;
        Data data = everyKeyword();
        data.remove(u"WinlogonResetPassword.Enabled"_s);
        SSLogonSettings s;
        load(s, data);
        QCOMPARE(s.appleMetaNodeLocation(), std::optional(u"/Active Directory/CORP/All Domains"_s));
        QVERIFY(!s.resetDlgTitle());
        QVERIFY(!s.loadingText());
        QVERIFY(!s.errorUnableResetPasswordTitle());
        QVERIFY(!s.errorUnableExchangeKeysTitle());
        QVERIFY(!s.linkText());
        QVERIFY(!s.linkURL());
        QCOMPARE(s.updCredCacheEnabled(), false);
        QCOMPARE(s.fileVaultPromptEnabled(), false);
        QCOMPARE(
            fake.log->lines().mid(1, 2),
            (QStringList{u"[Info]:     - Enabled flag"_s, u"[Info]: SETTINGS: LOGON EXTENSION"_s}));
    }

    void withoutKeywordsItStaysReset()
    {
        const FakePlatform fake;
        SSLogonSettings s;
        load(s, everyKeyword());
        fake.log->clear();
        s.loadFromConnectionPointKeywords(nullptr);
        compareReset(s);
        QVERIFY(!s.appleMetaNodeLocation());
        const QString scope = u"[Debug]: >> -[SSLogonSettings loadFromConnectionPointKeywords:] "_s;
        QCOMPARE(fake.log->lines(), (QStringList{scope + u"started"_s,
                                                 u"[Error]: There are no connection point "
                                                 "keywords."_s,
                                                 scope + u"ended"_s}));
    }

    void gates_data()
    {
        QTest::addColumn<bool>("credCache");
        QTest::addColumn<bool>("offline");
        QTest::addColumn<bool>("fileVault");
        for (const bool credCache : {false, true}) {
            for (const bool offline : {false, true}) {
                for (const bool fileVault : {false, true}) {
                    QTest::addRow("cache %d offline %d disk %d", credCache, offline, fileVault)
                        << credCache << offline << fileVault;
                }
            }
        }
    }
    void gates()
    {
        QFETCH(bool, credCache);
        QFETCH(bool, offline);
        QFETCH(bool, fileVault);
        const FakePlatform fake;
        Data data = everyKeyword();
        data[u"UpdateCredentialsCache.Enabled"_s] = credCache ? u"1"_s : u"0"_s;
        data[u"OfflinePasswordReset.Enabled"_s] = offline ? u"1"_s : u"0"_s;
        data[u"FileVaultSyncPrompt.Enabled"_s] = fileVault ? u"1"_s : u"0"_s;
        SSLogonSettings s;
        load(s, data);
        QCOMPARE(s.updCredCacheError().has_value(), credCache || offline);
        QCOMPARE(s.oprStepsDialogTitle().has_value(), offline);
        QCOMPARE(s.oprIntroDialogError().has_value(), offline);
        QCOMPARE(s.oprInvalidResponseKeyError().has_value(), offline);
        QCOMPARE(s.configurationSetPublicKey() != nullptr, offline);
        QCOMPARE(s.fileVaultPromptTitle().has_value(), fileVault);
        QCOMPARE(s.fileVaultPromptRemindLaterIntervalMins(), fileVault ? 45 : 0);
        QCOMPARE(s.fileVaultDialogText1().has_value(), fileVault);
        QCOMPARE(s.fileVaultNewPasswordDialogText().has_value(), fileVault);
    }

    void theCredentialsCacheAloneReadsItsErrorAndNoTextOfOfflineReset()
    {
        const FakePlatform fake;
        Data data = everyKeyword();
        data.remove(u"OfflinePasswordReset.Enabled"_s);
        SSLogonSettings s;
        load(s, data);
        QCOMPARE(s.updCredCacheError(), std::optional(u"<UpdateCredentialsCache.Error>"_s));
        for (const SSSettingProvenance &entry : s.provenance()) {
            if (entry.property.startsWith(u"opr"_s) && entry.property != u"oprEnabled"_s)
                QVERIFY2(!entry.resolved && !entry.value.isValid(), qPrintable(entry.property));
        }
        QVERIFY(!s.configurationSetPublicKey());
    }

    void backslashAndNBecomeALineFeedInOneTextAlone()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"UpdateCredentialsCache.Disabled.Error"_s, u"two\\nlines\\n"_s},
                                 {u"ExchangeKeys.Error"_s, u"one\\nline"_s}};
        SSLogonSettings s;
        load(s, everyKeyword());
        QCOMPARE(s.errorUnableResetPasswordMessageT(), std::optional(u"two\nlines\n"_s));
        QCOMPARE(s.errorUnableExchangeKeysMessageT(), std::optional(u"one\\nline"_s));
    }

    void anEmptyLinkTextGivesWayToItsDefaultAndAnEmptyTitleDoesNot()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"ResetPasswordButton.Text"_s, u""_s},
                                 {u"ResetPasswordDialog.Title"_s, u""_s},
                                 {u"OfflinePasswordReset.InvalidResponseKeyError"_s, u""_s},
                                 {u"ResetPasswordButton.OptionalText"_s, u""_s}};
        SSLogonSettings s;
        load(s, everyKeyword());
        QCOMPARE(s.linkText(), std::optional(u"Reset password"_s));
        QCOMPARE(s.resetDlgTitle(), std::optional(u""_s));
        QVERIFY(s.resetDlgTitle().has_value());
        QCOMPARE(s.oprInvalidResponseKeyError(),
                 std::optional(u"The response key is not valid. Make sure that you entered the "
                               "correct key."_s));
        QVERIFY(s.text().has_value());
        QCOMPARE(*s.text(), QString());
    }

    void anAbsentLinkTextGivesWayToItsDefault()
    {
        const FakePlatform fake;
        SSLogonSettings s;
        load(s, {{u"WinlogonResetPassword.Enabled"_s, u"1"_s},
                 {u"OfflinePasswordReset.Enabled"_s, u"1"_s}});
        QCOMPARE(s.linkText(), std::optional(u"Reset password"_s));
        QCOMPARE(s.oprInvalidResponseKeyError(),
                 std::optional(u"The response key is not valid. Make sure that you entered the "
                               "correct key."_s));
        QVERIFY(!s.text());
        QVERIFY(!s.configurationSetPublicKey());
        QVERIFY(fake.log->lines().contains(u"[Error]: Unable retrieve configuration set key."_s));
    }

    void defaultsOutrankEveryKeyword()
    {
        const FakePlatform fake;
        QStringList keys{u"ResetPasswordButton.Position"_s,
                         u"WebInterfaceURL"_s,
                         u"EnrollTrayProxy"_s,
                         u"ResetPasswordButton.OptionalText"_s,
                         u"ResetPasswordButton.Text"_s,
                         u"ResetPasswordDialog.Title"_s,
                         u"ResetPasswordDialog.LoadingText"_s,
                         u"UpdateCredentialsCache.Disabled.Error"_s,
                         u"UpdateCredentialsCache.Disabled.Title"_s,
                         u"ExchangeKeys.Error"_s,
                         u"ExchangeKeys.Title"_s,
                         u"UpdateCredentialsCache.Error"_s};
        const QStringList offline = offlineTexts();
        for (const QString &name : offline)
            keys.append(u"OfflinePasswordReset."_s + name);
        keys += fileVaultPromptKeys() + fileVaultDialogKeys();
        for (const QString &key : std::as_const(keys))
            fake.defaults->values.insert(key, u"mine "_s + key);
        fake.defaults->values[u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s] = qlonglong{-3};
        for (const auto &key :
             {u"AllowLoginScreenPasswordReset"_s, u"UpdateCredentialsCache.Enabled"_s,
              u"OfflinePasswordReset.Enabled"_s, u"FileVaultSyncPrompt.Enabled"_s}) {
            fake.defaults->values.insert(key, true);
        }
        SSLogonSettings s;
        load(s, {});
        // Every key of the defaults domain is also the value's key in the cache.
        const PropertyListDictionary written = s.serialize();
        for (const QString &key : std::as_const(keys))
            QCOMPARE(written.value(key), std::optional(fake.defaults->values.value(key)));
        for (const SSSettingProvenance &entry : s.provenance()) {
            if (entry.property != u"configurationSetPublicKey"_s)
                QCOMPARE(entry.source, SSOptionSource::Defaults);
        }
    }

    void switchesOfTheDefaultsDomainDecide()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"AllowLoginScreenPasswordReset"_s, false}};
        SSLogonSettings s;
        load(s, everyKeyword());
        QCOMPARE(s.enabled(), false);
        QVERIFY(!s.text());
    }

    void whereEachValueCameFrom()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"ResetPasswordButton.OptionalText"_s, u"mine"_s}};
        Data data = everyKeyword();
        data.remove(u"WinlogonResetPassword.LinkText"_s);
        data.remove(u"WinlogonResetPassword.WebUiUrl"_s);
        data.remove(u"FileVaultSyncPrompt.Enabled"_s);
        SSLogonSettings s;
        load(s, data);
        QCOMPARE(provenance(s, u"text"_s).source, SSOptionSource::Defaults);
        QCOMPARE(provenance(s, u"text"_s).sourceName,
                 std::optional(u"ResetPasswordButton.OptionalText"_s));
        QCOMPARE(provenance(s, u"proxy"_s).source, SSOptionSource::Keyword);
        QCOMPARE(provenance(s, u"proxy"_s).sourceName,
                 std::optional(u"EnrollSysNotification.Proxy"_s));
        QCOMPARE(provenance(s, u"linkText"_s).source, SSOptionSource::DefaultValue);
        QVERIFY(!provenance(s, u"linkText"_s).sourceName);
        QCOMPARE(provenance(s, u"resetDlgTitle"_s).source, SSOptionSource::DefaultValue);
        QCOMPARE(provenance(s, u"linkURL"_s).source, SSOptionSource::None);
        QVERIFY(provenance(s, u"linkURL"_s).resolved);
        QVERIFY(!provenance(s, u"fileVaultPromptText"_s).resolved);
        const auto key = provenance(s, u"configurationSetPublicKey"_s);
        QCOMPARE(key.source, SSOptionSource::Keyword);
        QCOMPARE(key.sourceName, std::optional(u"ConfigurationSet.Key"_s));
        QCOMPARE(key.value, QVariant(QByteArray::fromHex("010203040506")));
        QVERIFY(provenance(s, u"sessionKey"_s).property.isEmpty());
    }

    void noValueOfAnEarlierLoadSurvives()
    {
        const FakePlatform fake;
        SSLogonSettings s;
        load(s, everyKeyword());
        s.updateComputerRID(7);
        load(s, {{u"WinlogonResetPassword.Enabled"_s, u"1"_s}});
        QVERIFY(!s.text());
        QVERIFY(!s.oprStepsDialogTitle());
        QCOMPARE(s.fileVaultPromptRemindLaterIntervalMins(), 0);
        QCOMPARE(s.computerRID(), 0U);
        QVERIFY(!provenance(s, u"oprStepsDialogTitle"_s).resolved);
    }
};

QTEST_GUILESS_MAIN(tst_SSLogonSettings)
#include "tst_SSLogonSettings.moc"
