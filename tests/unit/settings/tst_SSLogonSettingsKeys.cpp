#include "security/SSSecurityHelper.h"
#include "tests/unit/security/OfflineTestSupport.h"
#include "tests/unit/settings/LogonSettingsFixture.h"

using namespace LogonSettingsFixture;

class tst_SSLogonSettingsKeys : public QObject
{
    Q_OBJECT

    /// A public key blob whose private half nobody here needs.
    static QByteArray blob()
    {
        QByteArray result;
        forEachCase("key", [&](const QJsonValue &value) {
            if (result.isEmpty())
                result = QByteArray::fromHex(value[QLatin1String("blob")].toString().toLatin1());
        });
        return result;
    }
    static Data withKey(const QByteArray &key)
    {
        Data data = everyKeyword();
        const QString text = QString::fromLatin1(key.toBase64());
        data[u"ConfigurationSet.Key:0"_s] = text.left(200);
        data[u"ConfigurationSet.Key:1"_s] = text.mid(200);
        return data;
    }

private Q_SLOTS:
    void aKeyIsNeededByEitherFeatureOfWhatIsOn_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("credCache");
        QTest::addColumn<bool>("offline");
        for (const bool enabled : {false, true}) {
            for (const bool credCache : {false, true}) {
                for (const bool offline : {false, true}) {
                    QTest::addRow("on %d cache %d offline %d", enabled, credCache, offline)
                        << enabled << credCache << offline;
                }
            }
        }
    }
    void aKeyIsNeededByEitherFeatureOfWhatIsOn()
    {
        QFETCH(bool, enabled);
        QFETCH(bool, credCache);
        QFETCH(bool, offline);
        const OfflinePlatform fake;
        SSLogonSettings s;
        QVERIFY(s.deserialize({{u"LoginSettingsVersion"_s, qlonglong{1}},
                               {u"AllowLoginScreenPasswordReset"_s, enabled},
                               {u"UpdateCredentialsCache.Enabled"_s, credCache},
                               {u"OfflinePasswordReset.Enabled"_s, offline}}));
        QCOMPARE(s.needKey(), enabled && (credCache || offline));
        QVERIFY(!s.hasKey());
        const auto enciphered = SSSecurityHelper::encodeSecureData(secure("session").get());
        QVERIFY(s.deserializeKeyHashes(
            {{u"LoginSettingsVersion"_s, qlonglong{1}},
             {u"ConfigurationSet.SessionKey"_s,
              QVariant::fromValue(PropertyListData{enciphered->data(), enciphered})}}));
        QCOMPARE(s.hasKey(), enabled && (credCache || offline));
        s.clearSessionKey();
        QVERIFY(!s.hasKey());
    }

    void aNewKeyAndItsCipheredCopy()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        load(s, withKey(blob()));
        fake.log->clear();
        s.generateNewSessionKey();
        QVERIFY(s.hasKey());
        QCOMPARE(s.sessionKey()->length(), 128U);
        QCOMPARE(s.cipheredSessionKey()->length(), 256U); // one block of a 2048-bit key
        QCOMPARE(fake.log->lines(),
                 (QStringList{u"[Debug]: >> -[SSLogonSettings generateNewSessionKey] started"_s,
                              u"[Debug]: >> -[SSLogonSettings generateNewSessionKey] ended"_s}));
        const auto first = s.sessionKey();
        s.generateNewSessionKey();
        QVERIFY(!s.sessionKey()->isEqualToSecureData(first.get()));
    }

    void withoutAPublicKeyNothingChanges()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        load(s, withKey(blob()));
        s.generateNewSessionKey();
        SSLogonSettings other;
        other.copySessionKeyFromSettings(&s);
        fake.log->clear();
        other.generateNewSessionKey();
        QCOMPARE(fake.log->lines(),
                 (QStringList{u"[Debug]: >> -[SSLogonSettings generateNewSessionKey] started"_s,
                              u"[Error]: Public key is invalid"_s,
                              u"[Debug]: >> -[SSLogonSettings generateNewSessionKey] ended"_s}));
        QCOMPARE(other.sessionKey(), s.sessionKey());
        QCOMPARE(other.cipheredSessionKey(), s.cipheredSessionKey());
    }

    void aPublicKeyThatIsNoneGivesNoCipheredCopy()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        load(s, everyKeyword());
        s.generateNewSessionKey();
        QVERIFY(!s.cipheredSessionKey());
        QVERIFY(fake.log->lines().contains(u"[Error]: Public key size is invalid."_s));
    }

    void copyingTakesTheSameBuffers()
    {
        const OfflinePlatform fake;
        SSLogonSettings from;
        load(from, withKey(blob()));
        from.generateNewSessionKey();
        SSLogonSettings to;
        to.copySessionKeyFromSettings(&from);
        QCOMPARE(to.sessionKey().get(), from.sessionKey().get());
        QCOMPARE(to.cipheredSessionKey().get(), from.cipheredSessionKey().get());
        to.copySessionKeyFromSettings(nullptr);
        QVERIFY(to.sessionKey());
        to.clearSessionKey();
        QVERIFY(!to.sessionKey());
        QVERIFY(!to.cipheredSessionKey());
        QVERIFY(from.sessionKey());
    }

    void loadingForgetsTheSessionKey()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        load(s, withKey(blob()));
        s.generateNewSessionKey();
        load(s, withKey(blob()));
        QVERIFY(!s.sessionKey());
        QVERIFY(!s.cipheredSessionKey());
    }

    void theSessionKeyIsInNoLogLine()
    {
        const OfflinePlatform fake;
        SSLogonSettings s;
        load(s, withKey(blob()));
        s.generateNewSessionKey();
        s.log();
        const QString all = fake.log->rawLines().join(QString());
        const QString key = hex(s.sessionKey().get());
        QVERIFY(!all.contains(key.left(8)));
        QVERIFY(!s.publicValue(u"sessionKey"_s).isValid());
        QVERIFY(s.publicValue(u"cipheredSessionKey"_s).isValid());
    }
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsKeys)
#include "tst_SSLogonSettingsKeys.moc"
