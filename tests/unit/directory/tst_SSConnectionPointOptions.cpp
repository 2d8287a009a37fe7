#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "foundation/SSDefaults.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSConnectionPointOptions : public QObject
{
    Q_OBJECT

    using Helper = SSConnectionPointHelper;

    static SSConnectionPointKeywords keywords()
    {
        return {{{u"EnrollSysNotification.Enabled"_s, u"1"_s},
                 {u"EnrollSysNotification.IntervalMins"_s, u"30min"_s},
                 {u"EnrollSysNotification.Title:0"_s, u"Hel"_s},
                 {u"EnrollSysNotification.Title:1"_s, u"lo"_s}},
                std::nullopt};
    }

private Q_SLOTS:
    void theDefaultsDomainWins()
    {
        const DirectoryFixture f;
        f.fake.defaults->values = {{u"b"_s, false}, {u"i"_s, qlonglong(7)}, {u"s"_s, QString()}};
        const auto defaults = SSDefaults::defaults();
        const auto cp = keywords();
        bool boolean = true;
        QCOMPARE(Helper::initializeBooleanOptionWithKey(u"b"_s, *defaults, &cp,
                                                        u"enrollNotificationEnabled"_s, boolean),
                 SSOptionSource::Defaults);
        QCOMPARE(boolean, false);
        qint32 integer = 0;
        QCOMPARE(Helper::initializeIntegerOptionWithKey(u"i"_s, *defaults, &cp,
                                                        u"enrollNotificationMins"_s, integer),
                 SSOptionSource::Defaults);
        QCOMPARE(integer, 7);
        std::optional<QString> text;
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, &cp,
                                                       u"enrollNotificationTitle"_s, text),
                 SSOptionSource::Defaults);
        QVERIFY(text && text->isEmpty());
        text = u"old"_s;
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, u"default"_s, text),
                 SSOptionSource::Defaults);
        QVERIFY(text && text->isEmpty());
    }

    void otherwiseTheNamedGetterIsCalled()
    {
        const DirectoryFixture f;
        const auto defaults = SSDefaults::defaults();
        const auto cp = keywords();
        bool boolean = false;
        QCOMPARE(Helper::initializeBooleanOptionWithKey(u"b"_s, *defaults, &cp,
                                                        u"enrollNotificationEnabled"_s, boolean),
                 SSOptionSource::Keyword);
        QCOMPARE(boolean, true);
        qint32 integer = 0;
        QCOMPARE(Helper::initializeIntegerOptionWithKey(u"i"_s, *defaults, &cp,
                                                        u"enrollNotificationMins"_s, integer),
                 SSOptionSource::Keyword);
        QCOMPARE(integer, 30);
        std::optional<QString> text;
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, &cp,
                                                       u"enrollNotificationTitle"_s, text),
                 SSOptionSource::Keyword);
        QCOMPARE(text, std::optional(u"Hello"_s));
        QVERIFY(f.lines().isEmpty());
    }

    void anAbsentKeywordOverwritesTheVariable()
    {
        const DirectoryFixture f;
        const auto defaults = SSDefaults::defaults();
        const SSConnectionPointKeywords cp({}, std::nullopt);
        bool boolean = true;
        qint32 integer = 5;
        std::optional<QString> text = u"old"_s;
        QCOMPARE(Helper::initializeBooleanOptionWithKey(u"b"_s, *defaults, &cp,
                                                        u"enrollNotificationEnabled"_s, boolean),
                 SSOptionSource::None);
        QCOMPARE(Helper::initializeIntegerOptionWithKey(u"i"_s, *defaults, &cp,
                                                        u"enrollNotificationMins"_s, integer),
                 SSOptionSource::None);
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, &cp,
                                                       u"enrollNotificationTitle"_s, text),
                 SSOptionSource::None);
        QCOMPARE(boolean, false);
        QCOMPARE(integer, 0);
        QVERIFY(!text);
        QVERIFY(f.lines().isEmpty());
    }

    void anUnknownGetterIsLoggedAndTheVariableLeftAlone()
    {
        const DirectoryFixture f;
        const auto defaults = SSDefaults::defaults();
        const auto cp = keywords();
        bool boolean = true;
        qint32 integer = 5;
        std::optional<QString> text = u"old"_s;
        QCOMPARE(
            Helper::initializeBooleanOptionWithKey(u"b"_s, *defaults, &cp, u"noSuch"_s, boolean),
            SSOptionSource::None);
        // A getter of another type does not serve.
        QCOMPARE(Helper::initializeIntegerOptionWithKey(u"i"_s, *defaults, &cp,
                                                        u"enrollNotificationTitle"_s, integer),
                 SSOptionSource::None);
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, nullptr,
                                                       u"enrollNotificationTitle"_s, text),
                 SSOptionSource::None);
        QCOMPARE(boolean, true);
        QCOMPARE(integer, 5);
        QCOMPARE(text, std::optional(u"old"_s));
        const QString missing =
            u"[Error]: selector %1 is not found in SSConnectionPointKeywords class."_s;
        QCOMPARE(f.lines(),
                 (QStringList{missing.arg(u"noSuch"_s), missing.arg(u"enrollNotificationTitle"_s),
                              missing.arg(u"enrollNotificationTitle"_s)}));
    }

    void theGivenDefaultText()
    {
        const DirectoryFixture f;
        const auto defaults = SSDefaults::defaults();
        std::optional<QString> text;
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, u"default"_s, text),
                 SSOptionSource::DefaultValue);
        QCOMPARE(text, std::optional(u"default"_s));
        QCOMPARE(Helper::initializeStringOptionWithKey(u"s"_s, *defaults, std::nullopt, text),
                 SSOptionSource::None);
        QVERIFY(!text);
    }
};

QTEST_GUILESS_MAIN(tst_SSConnectionPointOptions)
#include "tst_SSConnectionPointOptions.moc"
