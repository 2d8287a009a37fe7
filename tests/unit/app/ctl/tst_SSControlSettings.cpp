#include "tests/unit/app/ctl/ControlFixture.h"

#include <QTest>

class tst_SSControlSettings : public QObject
{
    Q_OBJECT

    static QJsonObject source(const QJsonObject &answer, const char *property)
    {
        return answer[QStringLiteral("sources")].toObject()[QLatin1String(property)].toObject();
    }
    static QJsonObject origin(const char *source, const QJsonValue &name, bool fallback = false,
                              bool read = true)
    {
        return {{QStringLiteral("source"), QLatin1String(source)},
                {QStringLiteral("name"), name},
                {QStringLiteral("fallback"), fallback},
                {QStringLiteral("read"), read}};
    }

private Q_SLOTS:
    void everySettingTellsItsValueAndSource()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"),
                   ControlFixture::pointKeywords(
                       {QStringLiteral("EnrollSysNotification.Enabled=1"),
                        QStringLiteral("EnrollSysNotification.IntervalMins=60"),
                        QStringLiteral("EnrollSysNotification.Title=Enroll"),
                        QStringLiteral("EnrollSysNotification.Text:0=Please "),
                        QStringLiteral("EnrollSysNotification.Text:1=do"),
                        QStringLiteral("WinlogonResetPassword.WebUiUrl=https://host/app")}));
        f.fake.defaults->values = {
            {QStringLiteral("EnrollReminder.IntervalMins"), 5},
            {QStringLiteral("EnrollReminder.Proxy"), QString()},
        };
        QCOMPARE(f.run({"settings", "--json"}), 0);
        const QJsonObject answer = f.json();
        QCOMPARE(answer[QStringLiteral("appleMetaNodeLocation")].toString(),
                 QStringLiteral("/Active Directory/CORP/All Domains"));
        QCOMPARE(answer[QStringLiteral("enrollEnabled")], QJsonValue(true));
        QCOMPARE(source(answer, "enrollEnabled"),
                 origin("keyword", QStringLiteral("EnrollSysNotification.Enabled")));
        QCOMPARE(answer[QStringLiteral("enrollNotificationIntervalsMins")], QJsonValue(5));
        QCOMPARE(source(answer, "enrollNotificationIntervalsMins"),
                 origin("defaults", QStringLiteral("EnrollReminder.IntervalMins")));
        QCOMPARE(answer[QStringLiteral("enrollProxy")], QJsonValue(QString()));
        QCOMPARE(source(answer, "enrollProxy"),
                 origin("defaults", QStringLiteral("EnrollReminder.Proxy")));
        QCOMPARE(answer[QStringLiteral("enrollWebUiUrl")].toString(),
                 QStringLiteral("https://host/app"));
        QCOMPARE(source(answer, "enrollWebUiUrl"),
                 origin("keyword", QStringLiteral("WinlogonResetPassword.WebUiUrl"), true));
        QCOMPARE(answer[QStringLiteral("enrollNotificationText")].toString(),
                 QStringLiteral("Please do"));
        QVERIFY(answer.contains(QStringLiteral("enrollMenuTextEnroll")));
        QVERIFY(answer[QStringLiteral("enrollMenuTextEnroll")].isNull());
        QCOMPARE(source(answer, "enrollMenuTextEnroll"), origin("none", QJsonValue::Null));
        QCOMPARE(answer[QStringLiteral("cddnEnabled")], QJsonValue(false));
        QCOMPARE(answer[QStringLiteral("cddnNotificationIntervalMins")], QJsonValue(0));
        QCOMPARE(source(answer, "cddnNotificationTitle"),
                 origin("none", QJsonValue::Null, false, false));
    }

    void everyPropertyIsThere()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"), ControlFixture::pointKeywords());
        QCOMPARE(f.run({"settings", "--json"}), 0);
        const QStringList expected{QStringLiteral("appleMetaNodeLocation"),
                                   QStringLiteral("cddnEnabled"),
                                   QStringLiteral("cddnNotificationIntervalMins"),
                                   QStringLiteral("cddnNotificationMenuDoNotShow"),
                                   QStringLiteral("cddnNotificationText"),
                                   QStringLiteral("cddnNotificationTitle"),
                                   QStringLiteral("enrollEnabled"),
                                   QStringLiteral("enrollMenuTextEnroll"),
                                   QStringLiteral("enrollMenuTextExit"),
                                   QStringLiteral("enrollNotificationIntervalsMins"),
                                   QStringLiteral("enrollNotificationText"),
                                   QStringLiteral("enrollNotificationTitle"),
                                   QStringLiteral("enrollProxy"),
                                   QStringLiteral("enrollWebUiUrl")};
        QCOMPARE(f.json()[QStringLiteral("sources")].toObject().keys(), expected);
        QStringList keys = f.json().keys();
        keys.removeAll(QStringLiteral("sources"));
        keys.removeAll(QStringLiteral("logonSettings"));
        QCOMPARE(keys, expected);
    }

    void theTextTellsTheSourceInWords()
    {
        ControlFixture f;
        f.addPoint(QStringLiteral("host"),
                   ControlFixture::pointKeywords(
                       {QStringLiteral("EnrollSysNotification.Enabled=1"),
                        QStringLiteral("EnrollSysNotification.Title=100%1 %2")}));
        f.fake.defaults->values.insert(QStringLiteral("WebInterfaceURL"),
                                       QStringLiteral("https://d"));
        QCOMPARE(f.run({"settings"}), 0);
        QVERIFY(f.output.contains(QStringLiteral(
            "enrollEnabled = YES\n    from the keyword EnrollSysNotification.Enabled\n")));
        QVERIFY(f.output.contains(
            QStringLiteral("enrollWebUiUrl = \"https://d\"\n"
                           "    from the defaults key WebInterfaceURL (fallback)\n")));
        QVERIFY(f.output.contains(QStringLiteral("enrollNotificationTitle = \"100%1 %2\"\n")));
        QVERIFY(f.output.contains(QStringLiteral(
            "enrollMenuTextExit = (none)\n    neither in the defaults nor among the keywords\n")));
        QVERIFY(f.output.contains(QStringLiteral(
            "cddnNotificationTitle = (none)\n    not read: what it belongs to is off\n")));
    }

    void withoutAConnectionPointThereAreNoSettings()
    {
        ControlFixture f;
        QCOMPARE(f.run({"settings", "--json"}), 1);
        QVERIFY(f.output.isEmpty());
        QVERIFY(f.errors.contains(QStringLiteral("no connection point of the service was found")));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlSettings)
#include "tst_SSControlSettings.moc"
