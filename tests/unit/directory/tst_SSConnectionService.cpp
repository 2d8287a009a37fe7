#include "directory/SSConnectionService.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class tst_SSConnectionService : public QObject
{
    Q_OBJECT

    static SSConnectionService service() { return {u"dns"_s, u"/a/b/c"_s}; }

private Q_SLOTS:
    void holdsWhatItWasMadeWith()
    {
        const SSConnectionService s = service();
        QCOMPARE(s.serviceDnsName(), u"dns"_s);
        QCOMPARE(s.appleMetaNodeLocation(), std::optional(u"/a/b/c"_s));
        QVERIFY(s.keywords().isEmpty());
    }

    void aKeywordIsSplitAtItsFirstEqualsSign_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("value");
        QTest::newRow("A=b=c") << u"A=b=c"_s << u"A"_s << u"b=c"_s;
        QTest::newRow("bare") << u"X"_s << u"X"_s << u""_s;
        QTest::newRow("no value") << u"X="_s << u"X"_s << u""_s;
        QTest::newRow("no name") << u"=v"_s << u""_s << u"v"_s;
        QTest::newRow("empty") << u""_s << u""_s << u""_s;
        QTest::newRow("blanks stay") << u" A = b "_s << u" A "_s << u" b "_s;
    }
    void aKeywordIsSplitAtItsFirstEqualsSign()
    {
        QFETCH(QString, raw);
        QFETCH(QString, name);
        QFETCH(QString, value);
        SSConnectionService s = service();
        s.addKeywordFromRawValue(raw);
        QCOMPARE(s.keywords().size(), 1);
        const auto stored = s.getKeywordWithKey(name);
        QVERIFY(stored.has_value());
        QCOMPARE(*stored, value);
    }

    void aLaterValueWinsAndNamesAreCaseSensitive()
    {
        SSConnectionService s = service();
        s.addKeywordFromRawValue(u"A=1"_s);
        s.addKeywordFromRawValue(u"a=2"_s);
        s.addKeywordFromRawValue(u"A=3"_s);
        QCOMPARE(s.getKeywordWithKey(u"A"_s), std::optional(u"3"_s));
        QCOMPARE(s.getKeywordWithKey(u"a"_s), std::optional(u"2"_s));
        QVERIFY(!s.getKeywordWithKey(u"B"_s));
    }

    void partsAreNotJoined()
    {
        SSConnectionService s = service();
        s.addKeywordFromRawValue(u"A:0=1"_s);
        QVERIFY(!s.getKeywordWithKey(u"A"_s));
        s.addKeywordFromRawValue(u"WinlogonResetPassword.SettingsPriority:0=9"_s);
        QCOMPARE(s.settingsPriority(), 0);
    }

    void priority_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("10") << u"10"_s << 10;
        QTest::newRow("negative") << u"-3"_s << -3;
        QTest::newRow("trailing text") << u" 7th"_s << 7;
        QTest::newRow("no number") << u"high"_s << 0;
        QTest::newRow("too large") << u"99999999999"_s << 2147483647;
    }
    void priority()
    {
        QFETCH(QString, value);
        QFETCH(int, expected);
        SSConnectionService s = service();
        QCOMPARE(s.settingsPriority(), 0);
        s.addKeywordFromRawValue(u"WinlogonResetPassword.SettingsPriority="_s + value);
        QCOMPARE(s.settingsPriority(), expected);
    }
};

QTEST_GUILESS_MAIN(tst_SSConnectionService)
#include "tst_SSConnectionService.moc"
