#include "app/SSSelfService.h"
#include "platform/PropertyList.h"
#include "tests/unit/app/EnrollFixture.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSSelfService : public QObject
{
    Q_OBJECT

    static void cache(const EnrollFixture &f, const PropertyListDictionary &dictionary)
    {
        const auto bytes = writeBinaryPropertyList(dictionary);
        f.fake.settingsFiles->addFile(
            u"/Library/Caches/ZevrikSelfService/com.zevrik.selfservice.plist"_s,
            {reinterpret_cast<const char *>(bytes.value().data()),
             static_cast<qsizetype>(bytes.value().size())});
    }
    static QStringList messages(const EnrollFixture &f)
    {
        QStringList result;
        for (const Alert &alert : f.fake.alerts->shown)
            result.append(alert.messageText);
        return result;
    }

private Q_SLOTS:
    void thePageOfTheDirectoryIsOpened()
    {
        EnrollFixture f;
        f.set(u"WinlogonResetPassword.WebUiUrl", u"https://host/reset"_s);
        f.fillDirectory();
        SSSelfService::showSelfService(nullptr);
        QCOMPARE(f.fake.workspace->opened, QStringList{u"https://host/reset"_s});
        QVERIFY(f.fake.alerts->shown.isEmpty());
        // The cache is the tray process's to write.
        QVERIFY(f.fake.settingsFiles->changes.isEmpty());
    }

    void theDefaultsDomainMayGiveThePage()
    {
        EnrollFixture f;
        f.fake.defaults->values.insert(u"WebInterfaceURL"_s, u"https://mine/"_s);
        f.fillDirectory();
        SSSelfService::showSelfService(nullptr);
        QCOMPARE(f.fake.workspace->opened, QStringList{u"https://mine/"_s});
    }

    void anEmptyPageIsLeftToTheBrowserToRefuse()
    {
        EnrollFixture f;
        f.set(u"WinlogonResetPassword.WebUiUrl", QString());
        f.fillDirectory();
        SSSelfService::showSelfService(nullptr);
        QVERIFY(f.fake.alerts->shown.isEmpty());
        QCOMPARE(f.fake.workspace->opened, QStringList{QString()});
    }

    void withoutAPageTheServiceIsDisabled()
    {
        EnrollFixture f;
        f.fillDirectory();
        SSSelfService::showSelfService(nullptr);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        QCOMPARE(messages(f), QStringList{u"This service is currently disabled."_s});
        const Alert &alert = f.fake.alerts->shown.first();
        QVERIFY(alert.style == AlertStyle::Critical);
        QVERIFY(!alert.informativeText);
    }

    void switchedOffInTheDirectoryTheServiceIsDisabledWhateverTheCacheSays()
    {
        EnrollFixture f;
        f.set(u"WinlogonResetPassword.Enabled", u"0"_s);
        f.set(u"WinlogonResetPassword.WebUiUrl", u"https://host/reset"_s);
        cache(f, {{u"LoginSettingsVersion"_s, qlonglong{1}},
                  {u"WebInterfaceURL"_s, u"https://cached/"_s}});
        f.fillDirectory();
        SSSelfService::showSelfService(nullptr);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        QCOMPARE(messages(f), QStringList{u"This service is currently disabled."_s});
    }

    void withoutADirectoryThePageOfTheCacheIsOpened()
    {
        EnrollFixture f;
        cache(f, {{u"LoginSettingsVersion"_s, qlonglong{1}},
                  {u"WebInterfaceURL"_s, u"https://cached/"_s}});
        f.setDirectoryFails(true);
        SSSelfService::showSelfService(nullptr);
        QCOMPARE(f.fake.workspace->opened, QStringList{u"https://cached/"_s});
    }

    void aCacheWithoutAPageMeansDisabled()
    {
        EnrollFixture f;
        cache(f, {{u"LoginSettingsVersion"_s, qlonglong{1}}});
        f.setDirectoryFails(true);
        SSSelfService::showSelfService(nullptr);
        QCOMPARE(messages(f), QStringList{u"This service is currently disabled."_s});
    }

    void withoutEitherTheServiceIsNotConfigured()
    {
        EnrollFixture f;
        f.setDirectoryFails(true);
        SSSelfService::showSelfService(nullptr);
        QVERIFY(f.fake.workspace->opened.isEmpty());
        QCOMPARE(messages(f), QStringList{u"This service is not configured."_s});
        const Alert &alert = f.fake.alerts->shown.first();
        QVERIFY(alert.style == AlertStyle::Critical);
        QVERIFY(!alert.informativeText);
    }

    void nothingIsKnownBeforeLoading()
    {
        EnrollFixture f;
        SSSelfService service;
        QVERIFY(!service.getSelfServiceURL());
        f.setDirectoryFails(true);
        QVERIFY(!service.loadSettings());
        QVERIFY(!service.getSelfServiceURL());
    }
};

QTEST_GUILESS_MAIN(tst_SSSelfService)
#include "tst_SSSelfService.moc"
