#include "directory/SSConnectionPointKeywords.h"
#include "settings/SSTraySettings.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSTraySettings : public QObject
{
    Q_OBJECT

    using Data = QMap<QString, QString>;

    static void load(SSTraySettings &settings, const Data &data)
    {
        const SSConnectionPointKeywords keywords(data, u"/Active Directory/CORP/All Domains"_s);
        settings.loadFromConnectionPointKeywords(&keywords);
    }
    static Data everyKeyword()
    {
        return {{u"EnrollSysNotification.Enabled"_s, u"1"_s},
                {u"EnrollSysNotification.Url"_s, u"https://a.test/"_s},
                {u"WinlogonResetPassword.WebUiUrl"_s, u"https://b.test/"_s},
                {u"EnrollSysNotification.Proxy"_s, u"proxy:1"_s},
                {u"EnrollSysNotification.IntervalMins"_s, u"60"_s},
                {u"EnrollSysNotification.Title"_s, u"title"_s},
                {u"EnrollSysNotification.Text"_s, u"text"_s},
                {u"EnrollSysNotification.MenuEnroll"_s, u"enroll"_s},
                {u"EnrollSysNotification.MenuExit"_s, u"exit"_s},
                {u"CredentialsCacheDisabledNotification.Enabled"_s, u"1"_s},
                {u"CredentialsCacheDisabledNotification.NotificationTitle"_s, u"c title"_s},
                {u"CredentialsCacheDisabledNotification.NotificationText"_s, u"c text"_s},
                {u"CredentialsCacheDisabledNotification.NotificationMenuDoNotShow"_s, u"never"_s},
                {u"CredentialsCacheDisabledNotification.NotificationIntervalMins"_s, u"5"_s}};
    }
    static SSSettingProvenance provenance(const SSTraySettings &settings, const QString &property)
    {
        for (const SSSettingProvenance &entry : settings.provenance()) {
            if (entry.property == property)
                return entry;
        }
        return {};
    }
    static void compareReset(const SSTraySettings &s)
    {
        QVERIFY(!s.appleMetaNodeLocation());
        QCOMPARE(s.enrollEnabled(), false);
        QCOMPARE(s.enrollNotificationIntervalsMins(), 0);
        QVERIFY(!s.enrollNotificationTitle());
        QVERIFY(!s.enrollNotificationText());
        QVERIFY(!s.enrollWebUiUrl());
        QVERIFY(!s.enrollProxy());
        QVERIFY(!s.enrollMenuTextEnroll());
        QVERIFY(!s.enrollMenuTextExit());
        QCOMPARE(s.cddnEnabled(), false);
        QVERIFY(!s.cddnNotificationTitle());
        QVERIFY(!s.cddnNotificationText());
        QVERIFY(!s.cddnNotificationMenuDoNotShow());
        QCOMPARE(s.cddnNotificationIntervalMins(), 0);
    }

private Q_SLOTS:
    void aNewObjectIsReset()
    {
        compareReset(SSTraySettings());
        for (const SSSettingProvenance &entry : SSTraySettings().provenance())
            QVERIFY(!entry.resolved);
    }

    void everythingFromTheConnectionPoint()
    {
        const FakePlatform fake;
        SSTraySettings s;
        load(s, everyKeyword());
        QCOMPARE(s.appleMetaNodeLocation(), std::optional(u"/Active Directory/CORP/All Domains"_s));
        QCOMPARE(s.enrollEnabled(), true);
        QCOMPARE(s.enrollNotificationIntervalsMins(), 60);
        QCOMPARE(s.enrollNotificationTitle(), std::optional(u"title"_s));
        QCOMPARE(s.enrollNotificationText(), std::optional(u"text"_s));
        QCOMPARE(s.enrollWebUiUrl(), std::optional(u"https://a.test/"_s));
        QCOMPARE(s.enrollProxy(), std::optional(u"proxy:1"_s));
        QCOMPARE(s.enrollMenuTextEnroll(), std::optional(u"enroll"_s));
        QCOMPARE(s.enrollMenuTextExit(), std::optional(u"exit"_s));
        QCOMPARE(s.cddnEnabled(), true);
        QCOMPARE(s.cddnNotificationTitle(), std::optional(u"c title"_s));
        QCOMPARE(s.cddnNotificationText(), std::optional(u"c text"_s));
        QCOMPARE(s.cddnNotificationMenuDoNotShow(), std::optional(u"never"_s));
        QCOMPARE(s.cddnNotificationIntervalMins(), 5);
        s.reset();
        compareReset(s);
    }

    void theWholeLogOfALoad()
    {
        const FakePlatform fake;
        SSTraySettings s;
        load(s, everyKeyword());
        QCOMPARE(
            fake.log->lines(),
            (QStringList{
                u"[Debug]: >> -[SSTraySettings loadFromConnectionPointKeywords:] started"_s,
                u"[Info]:     - Enabled flag"_s,
                u"[Info]:     - Web interface URL"_s,
                u"[Info]:     - Proxy"_s,
                u"[Info]:     - Notification interval"_s,
                u"[Info]:     - Notification title"_s,
                u"[Info]:     - Notification text"_s,
                u"[Info]:     - Menu item - Enroll"_s,
                u"[Info]:     - Menu item - Exit"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.Enabled flag"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationTitle"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationText"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationMenuDoNotShow"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationIntervalMins"_s,
                u"[Info]: SETTINGS: ENROLLMENT TRAY NOTIFICATIONS"_s,
                u"[Info]:     - Log level: 2"_s,
                u"[Info]:     - appleMetaNodeLocation: /Active Directory/CORP/All Domains"_s,
                u"[Info]:     - Enabled: YES"_s,
                u"[Info]:     - Web Interface URL: https://a.test/"_s,
                u"[Info]:     - Proxy: proxy:1"_s,
                u"[Info]:     - Interval: 60 (min)"_s,
                u"[Info]:     - Notification title: title"_s,
                u"[Info]:     - Notification text: text"_s,
                u"[Info]:     - Menu item (Enroll): enroll"_s,
                u"[Info]:     - Menu item (Exit): exit"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.Enabled: YES"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationTitle: c title"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationText: c text"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationDoNotShow: never"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationIntervalMins: 5"_s,
                u"[Debug]: >> -[SSTraySettings loadFromConnectionPointKeywords:] ended"_s}));
    }

    void theBlockIsWrittenWhenTheRemindersAreOff()
    {
        const FakePlatform fake;
        SSLogger::sharedInstance()->setLogLevel(1);
        SSTraySettings s;
        load(s, {});
        QCOMPARE(
            fake.log->lines(),
            (QStringList{
                u"[Info]: SETTINGS: ENROLLMENT TRAY NOTIFICATIONS"_s,
                u"[Info]:     - Log level: 1"_s,
                u"[Info]:     - appleMetaNodeLocation: /Active Directory/CORP/All Domains"_s,
                u"[Info]:     - Enabled: NO"_s, u"[Info]:     - Web Interface URL: (null)"_s,
                u"[Info]:     - Proxy: (null)"_s, u"[Info]:     - Interval: 0 (min)"_s,
                u"[Info]:     - Notification title: (null)"_s,
                u"[Info]:     - Notification text: (null)"_s,
                u"[Info]:     - Menu item (Enroll): (null)"_s,
                u"[Info]:     - Menu item (Exit): (null)"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.Enabled: NO"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationTitle: (null)"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationText: (null)"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationDoNotShow: "
                "(null)"_s,
                u"[Info]:     - CredentialsCacheDisabledNotification.NotificationIntervalMins: "
                "0"_s}));
    }

    void aSilentLogWritesNoBlock()
    {
        const FakePlatform fake;
        SSLogger::sharedInstance()->setLogLevel(0);
        SSTraySettings s;
        s.log();
        load(s, everyKeyword());
        QVERIFY(fake.log->rawLines().isEmpty());
    }

    void withoutKeywordsItStaysReset()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"EnrollReminder.Enable"_s, true}};
        SSTraySettings s;
        load(s, everyKeyword());
        fake.log->clear();
        s.loadFromConnectionPointKeywords(nullptr);
        compareReset(s);
        QCOMPARE(fake.log->lines(),
                 (QStringList{
                     u"[Debug]: >> -[SSTraySettings loadFromConnectionPointKeywords:] started"_s,
                     u"[Error]: There are no connection point keywords."_s,
                     u"[Debug]: >> -[SSTraySettings loadFromConnectionPointKeywords:] ended"_s}));
    }

    void enabledOtherThanOneIsOffAndNothingElseIsRead()
    {
        const FakePlatform fake;
        Data data = everyKeyword();
        data[u"EnrollSysNotification.Enabled"_s] = u"true"_s;
        data[u"CredentialsCacheDisabledNotification.Enabled"_s] = u"0"_s;
        SSTraySettings s;
        load(s, data);
        s.reset();
        load(s, data);
        QCOMPARE(s.enrollEnabled(), false);
        QVERIFY(!s.enrollWebUiUrl());
        QVERIFY(!s.enrollProxy());
        QCOMPARE(s.enrollNotificationIntervalsMins(), 0);
        QVERIFY(!s.enrollNotificationTitle());
        QVERIFY(!s.enrollNotificationText());
        QVERIFY(!s.enrollMenuTextEnroll());
        QVERIFY(!s.enrollMenuTextExit());
        QVERIFY(!s.cddnNotificationTitle());
        QCOMPARE(s.cddnNotificationIntervalMins(), 0);
        QCOMPARE(fake.log->lines().mid(1, 3),
                 (QStringList{u"[Info]:     - Enabled flag"_s,
                              u"[Info]:     - CredentialsCacheDisabledNotification.Enabled flag"_s,
                              u"[Info]: SETTINGS: ENROLLMENT TRAY NOTIFICATIONS"_s}));
    }

    void aGateClosedByTheDefaultsDomainKeepsItsDefaultsUnread()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"EnrollReminder.Enable"_s, false},
                                 {u"EnrollReminder.Proxy"_s, u"p"_s},
                                 {u"WebInterfaceURL"_s, u"u"_s}};
        SSTraySettings s;
        load(s, everyKeyword());
        QCOMPARE(s.enrollEnabled(), false);
        QVERIFY(!s.enrollProxy());
        QVERIFY(!s.enrollWebUiUrl());
    }

    void theDefaultsDomainDecidesWhetherTheReminderIsOn()
    {
        for (const bool on : {true, false}) {
            const FakePlatform fake;
            fake.defaults->values = {{u"EnrollReminder.Enable"_s, on}};
            Data data = everyKeyword();
            data[u"EnrollSysNotification.Enabled"_s] = on ? u"0"_s : u"1"_s;
            SSTraySettings s;
            load(s, data);
            QCOMPARE(s.enrollEnabled(), on);
        }
    }

    void defaultsOutrankEveryKeyword()
    {
        const FakePlatform fake;
        fake.defaults->values = {
            {u"EnrollReminder.Url"_s, u"d url"_s},
            {u"EnrollReminder.Proxy"_s, u"d proxy"_s},
            {u"EnrollReminder.IntervalMins"_s, qlonglong(-1)},
            {u"EnrollReminder.Title"_s, u"d title"_s},
            {u"EnrollReminder.Text"_s, u"d text"_s},
            {u"EnrollReminder.MenuEnrollText"_s, u"d enroll"_s},
            {u"EnrollReminder.MenuExitText"_s, u"d exit"_s},
            {u"CredentialsCacheDisabledNotification.NotificationTitle"_s, u"d c title"_s},
            {u"CredentialsCacheDisabledNotification.NotificationText"_s, u"d c text"_s},
            {u"CredentialsCacheDisabledNotification.NotificationMenuDoNotShow"_s, u"d never"_s},
            {u"CredentialsCacheDisabledNotification.NotificationIntervalMins"_s, qlonglong(9)}};
        SSTraySettings s;
        load(s, everyKeyword());
        QCOMPARE(s.enrollWebUiUrl(), std::optional(u"d url"_s));
        QCOMPARE(s.enrollProxy(), std::optional(u"d proxy"_s));
        QCOMPARE(s.enrollNotificationIntervalsMins(), -1);
        QCOMPARE(s.enrollNotificationTitle(), std::optional(u"d title"_s));
        QCOMPARE(s.enrollNotificationText(), std::optional(u"d text"_s));
        QCOMPARE(s.enrollMenuTextEnroll(), std::optional(u"d enroll"_s));
        QCOMPARE(s.enrollMenuTextExit(), std::optional(u"d exit"_s));
        QCOMPARE(s.cddnNotificationTitle(), std::optional(u"d c title"_s));
        QCOMPARE(s.cddnNotificationText(), std::optional(u"d c text"_s));
        QCOMPARE(s.cddnNotificationMenuDoNotShow(), std::optional(u"d never"_s));
        QCOMPARE(s.cddnNotificationIntervalMins(), 9);
    }

    void urlFallback_data()
    {
        QTest::addColumn<std::optional<QString>>("ownKeyword");
        QTest::addColumn<std::optional<QString>>("ownDefault");
        QTest::addColumn<std::optional<QString>>("sharedKeyword");
        QTest::addColumn<std::optional<QString>>("sharedDefault");
        QTest::addColumn<std::optional<QString>>("expected");
        QTest::addColumn<std::optional<QString>>("sourceName");
        QTest::addColumn<bool>("fallback");
        const std::optional<QString> none;
        const std::optional<QString> empty = u""_s;
        const auto text = [](const char16_t *value) {
            return std::optional(QString::fromUtf16(value));
        };
        const auto ownName = text(u"EnrollSysNotification.Url");
        const auto sharedName = text(u"WinlogonResetPassword.WebUiUrl");
        const auto sharedKey = text(u"WebInterfaceURL");
        QTest::newRow("absent: the shared keyword")
            << none << none << text(u"k") << none << text(u"k") << sharedName << true;
        QTest::newRow("the shared default outranks the shared keyword")
            << none << none << text(u"k") << text(u"d") << text(u"d") << sharedKey << true;
        QTest::newRow("but not the own keyword")
            << text(u"own") << none << text(u"k") << text(u"d") << text(u"own") << ownName << false;
        QTest::newRow("nor the own default")
            << none << text(u"own") << text(u"k") << text(u"d") << text(u"own")
            << text(u"EnrollReminder.Url") << false;
        QTest::newRow("an empty own keyword gives way")
            << empty << none << none << text(u"d") << text(u"d") << sharedKey << true;
        QTest::newRow("an empty own default gives way")
            << text(u"own") << empty << text(u"k") << none << text(u"k") << sharedName << true;
        QTest::newRow("nothing anywhere") << empty << none << none << none << none << none << true;
    }
    void urlFallback()
    {
        QFETCH(std::optional<QString>, ownKeyword);
        QFETCH(std::optional<QString>, ownDefault);
        QFETCH(std::optional<QString>, sharedKeyword);
        QFETCH(std::optional<QString>, sharedDefault);
        QFETCH(std::optional<QString>, expected);
        QFETCH(std::optional<QString>, sourceName);
        QFETCH(bool, fallback);
        const FakePlatform fake;
        Data data{{u"EnrollSysNotification.Enabled"_s, u"1"_s}};
        if (ownKeyword)
            data.insert(u"EnrollSysNotification.Url"_s, *ownKeyword);
        if (sharedKeyword)
            data.insert(u"WinlogonResetPassword.WebUiUrl"_s, *sharedKeyword);
        if (ownDefault)
            fake.defaults->values.insert(u"EnrollReminder.Url"_s, *ownDefault);
        if (sharedDefault)
            fake.defaults->values.insert(u"WebInterfaceURL"_s, *sharedDefault);
        SSTraySettings s;
        load(s, data);
        QCOMPARE(s.enrollWebUiUrl(), expected);
        const SSSettingProvenance entry = provenance(s, u"enrollWebUiUrl"_s);
        QCOMPARE(entry.sourceName, sourceName);
        QCOMPARE(entry.fallback, fallback);
        QCOMPARE(entry.value, expected ? QVariant(*expected) : QVariant());
    }

    void anEmptyDefaultIsAValue()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"EnrollReminder.Proxy"_s, QString()}};
        SSTraySettings s;
        load(s, everyKeyword());
        QVERIFY(s.enrollProxy().has_value());
        QCOMPARE(*s.enrollProxy(), QString());
    }

    void noValueOfAnEarlierLoadSurvives()
    {
        const FakePlatform fake;
        SSTraySettings s;
        load(s, everyKeyword());
        load(s, {{u"EnrollSysNotification.Enabled"_s, u"1"_s}});
        QCOMPARE(s.enrollEnabled(), true);
        QVERIFY(!s.enrollWebUiUrl());
        QVERIFY(!s.enrollNotificationTitle());
        QCOMPARE(s.enrollNotificationIntervalsMins(), 0);
        QCOMPARE(s.cddnEnabled(), false);
        QVERIFY(!s.cddnNotificationTitle());
        QCOMPARE(provenance(s, u"cddnNotificationTitle"_s).resolved, false);
    }

    void whereEachValueCameFrom()
    {
        const FakePlatform fake;
        fake.defaults->values = {{u"EnrollReminder.Title"_s, u"mine"_s}};
        Data data = everyKeyword();
        data.remove(u"EnrollSysNotification.Text"_s);
        data[u"CredentialsCacheDisabledNotification.Enabled"_s] = u"0"_s;
        SSTraySettings s;
        load(s, data);

        QStringList properties;
        for (const SSSettingProvenance &entry : s.provenance())
            properties.append(entry.property);
        QCOMPARE(properties,
                 (QStringList{u"enrollEnabled"_s, u"enrollWebUiUrl"_s, u"enrollProxy"_s,
                              u"enrollNotificationIntervalsMins"_s, u"enrollNotificationTitle"_s,
                              u"enrollNotificationText"_s, u"enrollMenuTextEnroll"_s,
                              u"enrollMenuTextExit"_s, u"cddnEnabled"_s, u"cddnNotificationTitle"_s,
                              u"cddnNotificationText"_s, u"cddnNotificationMenuDoNotShow"_s,
                              u"cddnNotificationIntervalMins"_s}));

        const auto title = provenance(s, u"enrollNotificationTitle"_s);
        QCOMPARE(title.source, SSOptionSource::Defaults);
        QCOMPARE(title.sourceName, std::optional(u"EnrollReminder.Title"_s));
        QCOMPARE(title.value, QVariant(u"mine"_s));
        const auto interval = provenance(s, u"enrollNotificationIntervalsMins"_s);
        QCOMPARE(interval.source, SSOptionSource::Keyword);
        QCOMPARE(interval.sourceName, std::optional(u"EnrollSysNotification.IntervalMins"_s));
        QCOMPARE(interval.value, QVariant(60));
        const auto text = provenance(s, u"enrollNotificationText"_s);
        QCOMPARE(text.source, SSOptionSource::None);
        QVERIFY(text.resolved);
        QVERIFY(!text.sourceName);
        QVERIFY(!text.value.isValid());
        const auto gated = provenance(s, u"cddnNotificationText"_s);
        QVERIFY(!gated.resolved);
        QCOMPARE(gated.source, SSOptionSource::None);
        QCOMPARE(provenance(s, u"cddnEnabled"_s).value, QVariant(false));
        QCOMPARE(provenance(s, u"cddnEnabled"_s).source, SSOptionSource::Keyword);
    }
};

QTEST_GUILESS_MAIN(tst_SSTraySettings)
#include "tst_SSTraySettings.moc"
