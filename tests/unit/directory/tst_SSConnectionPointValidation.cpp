#include "directory/SSConnectionPointHelper.h"
#include "tests/unit/directory/DirectoryTestSupport.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

/// Conditions evaluated against record details.
class tst_SSConnectionPointValidation : public QObject
{
    Q_OBJECT

    static bool holds(const SSValidationCondition &condition)
    {
        static const DirectoryDetails details{{u"a"_s, {u"One"_s, u"Two"_s}}, {u"empty"_s, {}}};
        return SSConnectionPointHelper::validateResult(details, condition);
    }
    static SSMatchCondition match(quint32 type, const QString &value,
                                  const QString &attribute = u"a"_s)
    {
        return SSMatchCondition::matchConditionWithAttribute(attribute, type, value);
    }

private Q_SLOTS:
    void oneCondition_data()
    {
        QTest::addColumn<quint32>("type");
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("expected");
        QTest::newRow("any") << 1U << u"a"_s << u"x"_s << true;
        QTest::newRow("any of no values") << 1U << u"empty"_s << u"x"_s << true;
        QTest::newRow("equal to the second") << 0x2001U << u"a"_s << u"Two"_s << true;
        QTest::newRow("case matters") << 0x2001U << u"a"_s << u"two"_s << false;
        QTest::newRow("a part is not equal") << 0x2001U << u"a"_s << u"Tw"_s << false;
        QTest::newRow("equal to no values") << 0x2001U << u"empty"_s << u""_s << false;
        QTest::newRow("begins with") << 0x2002U << u"a"_s << u"Tw"_s << true;
        QTest::newRow("begins, case matters") << 0x2002U << u"a"_s << u"tw"_s << false;
        QTest::newRow("contains is not begins") << 0x2002U << u"a"_s << u"wo"_s << false;
    }
    void oneCondition()
    {
        QFETCH(quint32, type);
        QFETCH(QString, attribute);
        QFETCH(QString, value);
        QFETCH(bool, expected);
        const DirectoryFixture f;
        QCOMPARE(holds(match(type, value, attribute)), expected);
        QVERIFY(f.lines().isEmpty());
    }

    void anAbsentAttributeIsLogged()
    {
        const DirectoryFixture f;
        QVERIFY(!holds(match(1, u"x"_s, u"missing"_s)));
        QCOMPARE(
            f.lines(),
            QStringList{u"[Error]: Unable get attribute missing to match condition. (null)."_s});
    }

    void anUnknownTypeIsLogged()
    {
        const DirectoryFixture f;
        QVERIFY(!holds(match(0x2004, u"One"_s)));
        QCOMPARE(f.lines(), QStringList{u"[Error]: Invalid match condition type 8196"_s});
    }

    void everyElementOfAListMustHoldAndTheFirstFailureEndsIt()
    {
        using List = SSValidationCondition::List;
        const DirectoryFixture f;
        QVERIFY(holds(List{}));
        QVERIFY(holds(List{match(0x2001, u"One"_s), List{match(0x2001, u"Two"_s), List{}}}));
        QVERIFY(!holds(List{match(0x2001, u"One"_s), List{match(0x2001, u"no"_s)},
                            match(1, u""_s, u"missing"_s)}));
        QVERIFY(f.lines().isEmpty());
    }

    void anythingElseIsPrintedAndFails()
    {
        const DirectoryFixture f;
        QVERIFY(!holds(SSValidationCondition(QVariant(u"text"_s))));
        QVERIFY(!holds(SSValidationCondition(QVariant())));
        QCOMPARE(f.lines(), (QStringList{u"[Error]: Invalid match condition object. (text)."_s,
                                         u"[Error]: Invalid match condition object. ((null))."_s}));
    }

    void aConditionKeepsItsFields()
    {
        const SSMatchCondition condition(u"attribute"_s, 0x2002, u"value"_s);
        QCOMPARE(condition.attribute(), u"attribute"_s);
        QCOMPARE(condition.matchType(), 0x2002U);
        QCOMPARE(condition.value(), u"value"_s);
    }
};

QTEST_GUILESS_MAIN(tst_SSConnectionPointValidation)
#include "tst_SSConnectionPointValidation.moc"
