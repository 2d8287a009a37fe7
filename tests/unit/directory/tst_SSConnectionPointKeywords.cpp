#include "directory/SSConnectionPointKeywords.h"
#include "security/SSSecureData.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSConnectionPointKeywords : public QObject
{
    Q_OBJECT

    using Data = QMap<QString, QString>;
    static SSConnectionPointKeywords with(const Data &data) { return {data, std::nullopt}; }

private Q_SLOTS:
    void holdsWhatItWasMadeWith()
    {
        const auto cp = SSConnectionPointKeywords::connectionPointWithData(
            {{u"b"_s, u"2"_s}, {u"a"_s, u"1"_s}}, u"/l"_s);
        QCOMPARE(cp->appleMetaNodeLocation(), std::optional(u"/l"_s));
        QCOMPARE(cp->data(), (Data{{u"a"_s, u"1"_s}, {u"b"_s, u"2"_s}}));
        QCOMPARE(cp->description(),
                 u"appleMetaNodeLocation: /l\ndata: {\n    a = 1;\n    b = 2;\n}"_s);
        QCOMPARE(with({}).description(), u"appleMetaNodeLocation: (null)\ndata: {\n}"_s);
    }

    void aBooleanIsTrueForExactlyOne_data()
    {
        QTest::addColumn<std::optional<QString>>("value");
        QTest::addColumn<bool>("expected");
        QTest::newRow("1") << std::optional(u"1"_s) << true;
        for (const char *other : {"true", "yes", "01", " 1", "1 ", "0", ""})
            QTest::newRow(other) << std::optional(QString::fromLatin1(other)) << false;
        QTest::newRow("absent") << std::optional<QString>() << false;
    }
    void aBooleanIsTrueForExactlyOne()
    {
        QFETCH(std::optional<QString>, value);
        QFETCH(bool, expected);
        Data data;
        if (value)
            data.insert(u"EnrollSysNotification.Enabled"_s, *value);
        QCOMPARE(with(data).enrollNotificationEnabled(), expected);
    }

    void anIntegerIsTheLeadingNumber_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("30min") << u"30min"_s << 30;
        QTest::newRow("abc") << u"abc"_s << 0;
        QTest::newRow("-5") << u" -5"_s << -5;
    }
    void anIntegerIsTheLeadingNumber()
    {
        QFETCH(QString, value);
        QFETCH(int, expected);
        QCOMPARE(with({{u"EnrollSysNotification.IntervalMins"_s, value}}).enrollNotificationMins(),
                 expected);
        QCOMPARE(with({}).enrollNotificationMins(), 0);
    }

    void numberedPartsAreJoined()
    {
        Data data{{u"WinlogonResetPassword.Text:0"_s, u"Hel"_s},
                  {u"WinlogonResetPassword.Text:1"_s, u"lo"_s}};
        QCOMPARE(with(data).text(), std::optional(u"Hello"_s));
        data.insert(u"WinlogonResetPassword.Text"_s, u"X"_s);
        QCOMPARE(with(data).text(), std::optional(u"X"_s));
    }

    void partsAfterAGapAreLeftOut()
    {
        QCOMPARE(with({{u"N:0"_s, u"a"_s}, {u"N:2"_s, u"c"_s}}).valueForKey(u"N"_s),
                 std::optional(u"a"_s));
        QVERIFY(!with({{u"N:1"_s, u"b"_s}}).valueForKey(u"N"_s));
    }

    void moreThanTenPartsComeInNumericOrder()
    {
        Data data;
        QString expected;
        for (int i = 0; i < 12; ++i) {
            data.insert(u"N:%1"_s.arg(i), QString(QChar(u'a' + i)));
            expected += QChar(u'a' + i);
        }
        QCOMPARE(with(data).valueForKey(u"N"_s), std::optional(expected));
        QCOMPARE(expected, u"abcdefghijkl"_s);
    }

    void anEmptyValueIsNotAbsent()
    {
        const auto cp = with({{u"WinlogonResetPassword.Text"_s, u""_s}, {u"N:0"_s, u""_s}});
        QVERIFY(cp.text().has_value());
        QVERIFY(cp.valueForKey(u"N"_s).has_value());
        QVERIFY(!cp.linkText().has_value());
    }

    void joinedKeywords()
    {
        const Data data{{u"plain"_s, u"p"_s},   {u"N:0"_s, u"a"_s}, {u"N:1"_s, u"b"_s},
                        {u"N:3"_s, u"d"_s},     {u"S"_s, u"s"_s},   {u"S:0"_s, u"hidden"_s},
                        {u"alone:1"_s, u"x"_s}, {u"O:0"_s, u"o"_s}};
        QCOMPARE(with(data).joinedKeywords(), (Data{{u"plain"_s, u"p"_s},
                                                    {u"N"_s, u"ab"_s},
                                                    {u"N:3"_s, u"d"_s},
                                                    {u"S"_s, u"s"_s},
                                                    {u"S:0"_s, u"hidden"_s},
                                                    {u"alone:1"_s, u"x"_s},
                                                    {u"O"_s, u"o"_s}}));
    }

    // Written by hand from the list of settings that the service publishes.
    void getters_data()
    {
        QTest::addColumn<QString>("getter");
        QTest::addColumn<QString>("keyword");
        QTest::addColumn<QChar>("type");
        static constexpr const char *rows[][3] = {
            {"enabled", "WinlogonResetPassword.Enabled", "b"},
            {"positionOnLoginScreen", "WinlogonResetPassword.PositionOnLoginScreen", "s"},
            {"text", "WinlogonResetPassword.Text", "s"},
            {"linkText", "WinlogonResetPassword.LinkText", "s"},
            {"webInterfaceURL", "WinlogonResetPassword.WebUiUrl", "s"},
            {"enrollNotificationEnabled", "EnrollSysNotification.Enabled", "b"},
            {"enrollWebInterfaceURL", "EnrollSysNotification.Url", "s"},
            {"enrollProxy", "EnrollSysNotification.Proxy", "s"},
            {"enrollNotificationMins", "EnrollSysNotification.IntervalMins", "i"},
            {"enrollNotificationTitle", "EnrollSysNotification.Title", "s"},
            {"enrollNotificationText", "EnrollSysNotification.Text", "s"},
            {"enrollNotificationMenuEnroll", "EnrollSysNotification.MenuEnroll", "s"},
            {"enrollNotificationMenuExit", "EnrollSysNotification.MenuExit", "s"},
            {"updateCredentialsCacheEnabled", "UpdateCredentialsCache.Enabled", "b"},
            {"updateCredentialsCacheError", "UpdateCredentialsCache.Error", "s"},
            {"offlinePasswordResetEnabled", "OfflinePasswordReset.Enabled", "b"},
            {"credentialsCacheDisabledNotificationEnabled",
             "CredentialsCacheDisabledNotification.Enabled", "b"},
            {"credentialsCacheNotificationTitle",
             "CredentialsCacheDisabledNotification.NotificationTitle", "s"},
            {"credentialsCacheNotificationText",
             "CredentialsCacheDisabledNotification.NotificationText", "s"},
            {"credentialsCacheNotificationMenuDoNotShow",
             "CredentialsCacheDisabledNotification.NotificationMenuDoNotShow", "s"},
            {"credentialsCacheNotificationIntervalMins",
             "CredentialsCacheDisabledNotification.NotificationIntervalMins", "i"},
            {"fileVaultPromptEnabled", "FileVaultSyncPrompt.Enabled", "b"},
            {"fileVaultPromptTitle", "FileVaultSyncPrompt.Title", "s"},
            {"fileVaultPromptText", "FileVaultSyncPrompt.Text", "s"},
            {"fileVaultPromptSkipButtonText", "FileVaultSyncPrompt.SkipButtonText", "s"},
            {"fileVaultPromptRemindLaterButtonText", "FileVaultSyncPrompt.RemindLaterButtonText",
             "s"},
            {"fileVaultPromptRemindLaterIntervalMins",
             "FileVaultSyncPrompt.RemindLaterIntervalMins", "i"},
            {"fileVaultNewPasswordDialogText", "FileVaultSyncNewPasswordDialog.Text", "s"},
            {"fileVaultNewPasswordDialogPasswordLabel",
             "FileVaultSyncNewPasswordDialog.PasswordLabel", "s"},
            {"fileVaultNewPasswordDialogCancelButtonText",
             "FileVaultSyncNewPasswordDialog.CancelButtonText", "s"},
            {"fileVaultNewPasswordDialogOkButtonText",
             "FileVaultSyncNewPasswordDialog.OkButtonText", "s"},
            {"fileVaultNewPasswordDialogInvalidPasswordError",
             "FileVaultSyncNewPasswordDialog.InvalidPasswordError", "s"},
            {"stepsDialogTitle", "OfflinePasswordReset.StepsDialogTitle", "s"},
            {"stepsDialogHeaderText", "OfflinePasswordReset.StepsDialogHeaderText", "s"},
            {"stepsDialogStep1Text", "OfflinePasswordReset.StepsDialogStep1Text", "s"},
            {"stepsDialogStep2Text", "OfflinePasswordReset.StepsDialogStep2Text", "s"},
            {"stepsDialogStep3Text", "OfflinePasswordReset.StepsDialogStep3Text", "s"},
            {"stepsDialogStep4Text", "OfflinePasswordReset.StepsDialogStep4Text", "s"},
            {"stepsDialogCancelButtonText", "OfflinePasswordReset.StepsDialogCancelButtonText",
             "s"},
            {"stepsDialogResetPasswordButtonText",
             "OfflinePasswordReset.StepsDialogResetPasswordButtonText", "s"},
            {"stepsDialogNewPasswordLabel", "OfflinePasswordReset.StepsDialogNewPasswordLabel",
             "s"},
            {"stepsDialogResponseKeyLabel", "OfflinePasswordReset.StepsDialogResponseKeyLabel",
             "s"},
            {"introDialogTitle", "OfflinePasswordReset.IntroDialogTitle", "s"},
            {"introDialogText1", "OfflinePasswordReset.IntroDialogText1", "s"},
            {"introDialogText2", "OfflinePasswordReset.IntroDialogText2", "s"},
            {"introDialogCancelButtonText", "OfflinePasswordReset.IntroDialogCancelButtonText",
             "s"},
            {"introDialogRetryButtonText", "OfflinePasswordReset.IntroDialogRetryButtonText", "s"},
            {"introDialogResetOfflineButtonText",
             "OfflinePasswordReset.IntroDialogResetOfflineButtonText", "s"},
            {"introDialogError", "OfflinePasswordReset.IntroDialogError", "s"},
            {"invalidResponseKeyError", "OfflinePasswordReset.InvalidResponseKeyError", "s"},
            {"fileVaultDialogText1", "FileVaultSyncDialog.Text1", "s"},
            {"fileVaultDialogText2", "FileVaultSyncDialog.Text2", "s"},
            {"fileVaultDialogUsernameLabel", "FileVaultSyncDialog.UsernameLabel", "s"},
            {"fileVaultDialogPasswordLabel", "FileVaultSyncDialog.PasswordLabel", "s"},
            {"fileVaultDialogCancelButtonText", "FileVaultSyncDialog.CancelButtonText", "s"},
            {"fileVaultDialogSkipButtonText", "FileVaultSyncDialog.SkipButtonText", "s"},
            {"fileVaultDialogContinueButtonText", "FileVaultSyncDialog.ContinueButtonText", "s"},
            {"fileVaultDialogNotSecureTokenError", "FileVaultSyncDialog.NotSecureTokenEnabledError",
             "s"},
            {"fileVaultDialogPasswordNotInSyncError", "FileVaultSyncDialog.PasswordNotInSyncError",
             "s"},
        };
        for (const auto &row : rows) {
            QTest::newRow(row[0]) << QString::fromLatin1(row[0]) << QString::fromLatin1(row[1])
                                  << QChar(QLatin1Char(row[2][0]));
        }
    }
    void getters()
    {
        QFETCH(QString, getter);
        QFETCH(QString, keyword);
        QFETCH(QChar, type);
        const auto *const found = SSConnectionPointKeywords::getterWithName(getter);
        QVERIFY(found);
        const auto cp = with({{keyword, u"1"_s}});
        const auto none = with({});
        if (type == u'b') {
            const auto read =
                std::get<SSConnectionPointKeywords::Boolean (SSConnectionPointKeywords::*)() const>(
                    found->read);
            QCOMPARE((cp.*read)(), true);
            QCOMPARE((none.*read)(), false);
        } else if (type == u'i') {
            const auto read =
                std::get<SSConnectionPointKeywords::Integer (SSConnectionPointKeywords::*)() const>(
                    found->read);
            QCOMPARE((cp.*read)(), 1);
            QCOMPARE((none.*read)(), 0);
        } else {
            const auto read =
                std::get<SSConnectionPointKeywords::String (SSConnectionPointKeywords::*)() const>(
                    found->read);
            QCOMPARE((cp.*read)(), std::optional(u"1"_s));
            QVERIFY(!(none.*read)());
        }
    }

    void namesOfGettersAreExact()
    {
        QVERIFY(!SSConnectionPointKeywords::getterWithName(u"Enabled"_s));
        QVERIFY(!SSConnectionPointKeywords::getterWithName(u"enable"_s));
        QVERIFY(!SSConnectionPointKeywords::getterWithName(QString()));
    }

    void key_withBothPartsEmpty()
    {
        const DirectoryFixture f;
        QVERIFY(!with({}).configurationSetPublicKey());
        QVERIFY(!with({{u"ConfigurationSet.Key:0"_s, u""_s}, {u"ConfigurationSet.Key:1"_s, u""_s}})
                     .configurationSetPublicKey());
        const QString line = u"[Error]: Unable retrieve configuration set key."_s;
        QCOMPARE(f.lines(), (QStringList{line, line}));
    }

    // "foobar" is Zm9vYmFy (RFC 4648, section 10).
    void key_isJoinedFromTwoParts()
    {
        const DirectoryFixture f;
        const auto bytesOf = [](const Data &data) {
            const auto key = with(data).configurationSetPublicKey();
            return key ? QByteArray(reinterpret_cast<const char *>(key->bytes()),
                                    static_cast<qsizetype>(key->length()))
                       : QByteArray("none");
        };
        QCOMPARE(bytesOf({{u"ConfigurationSet.Key:0"_s, u"Zm9v"_s},
                          {u"ConfigurationSet.Key:1"_s, u"YmFy"_s}}),
                 QByteArray("foobar"));
        // A third part is not read.
        QCOMPARE(bytesOf({{u"ConfigurationSet.Key:0"_s, u"Zm9v"_s},
                          {u"ConfigurationSet.Key:1"_s, u"YmFy"_s},
                          {u"ConfigurationSet.Key:2"_s, u"YmFy"_s}}),
                 QByteArray("foobar"));
        QCOMPARE(bytesOf({{u"ConfigurationSet.Key:0"_s, u"Zm9vYmFy"_s}}), QByteArray("foobar"));
        QCOMPARE(bytesOf({{u"ConfigurationSet.Key:1"_s, u"Zm9v"_s}}), QByteArray("foo"));
        QVERIFY(f.lines().isEmpty());
    }

    void key_thatIsNoBase64()
    {
        const DirectoryFixture f;
        QVERIFY(
            !with({{u"ConfigurationSet.Key:0"_s, u"**"_s}, {u"ConfigurationSet.Key:1"_s, u"no"_s}})
                 .configurationSetPublicKey());
        QCOMPARE(f.lines(), QStringList{u"[Error]: Unable decode configuration set key (**no)."_s});
    }
};

QTEST_GUILESS_MAIN(tst_SSConnectionPointKeywords)
#include "tst_SSConnectionPointKeywords.moc"
