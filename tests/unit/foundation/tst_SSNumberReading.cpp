#include "foundation/SSNumberReading.h"

#include <QTest>

#include <limits>

class tst_SSNumberReading : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void intValue_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected");
        QTest::newRow("empty") << QString() << 0;
        QTest::newRow("unit") << QStringLiteral("30min") << 30;
        QTest::newRow("letters") << QStringLiteral("abc") << 0;
        QTest::newRow("blanks, minus") << QStringLiteral("  -12") << -12;
        QTest::newRow("plus") << QStringLiteral("+5") << 5;
        QTest::newRow("sign alone") << QStringLiteral("-") << 0;
        QTest::newRow("blank after sign") << QStringLiteral("- 5") << 0;
        QTest::newRow("largest") << QStringLiteral("2147483647") << 2147483647;
        QTest::newRow("too large") << QStringLiteral("2147483648") << 2147483647;
        QTest::newRow("far too large") << QStringLiteral("99999999999999999999999") << 2147483647;
        QTest::newRow("smallest") << QStringLiteral("-2147483648")
                                  << std::numeric_limits<int>::min();
        QTest::newRow("too small")
            << QStringLiteral("-99999999999999999999999") << std::numeric_limits<int>::min();
        QTest::newRow("fraction") << QStringLiteral("1.9") << 1;
    }
    void intValue()
    {
        QFETCH(QString, text);
        QFETCH(int, expected);
        QCOMPARE(SSNumberReading::intValue(text), expected);
    }

    void limitsOf64Bits()
    {
        QCOMPARE(SSNumberReading::longLongValue(QStringLiteral("9223372036854775807")),
                 std::numeric_limits<qint64>::max());
        QCOMPARE(SSNumberReading::longLongValue(QStringLiteral("9223372036854775808")),
                 std::numeric_limits<qint64>::max());
        QCOMPARE(SSNumberReading::longLongValue(QStringLiteral("-9223372036854775808")),
                 std::numeric_limits<qint64>::min());
        QCOMPARE(SSNumberReading::longLongValue(QStringLiteral("-9223372036854775809")),
                 std::numeric_limits<qint64>::min());
    }

    void boolValueOfText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("YES") << QStringLiteral("YES") << true;
        QTest::newRow("true") << QStringLiteral("true") << true;
        QTest::newRow("NO") << QStringLiteral("NO") << false;
        QTest::newRow("0") << QStringLiteral("0") << false;
        QTest::newRow("01") << QStringLiteral("01") << true;
        QTest::newRow("-1") << QStringLiteral("-1") << true;
        QTest::newRow("00y") << QStringLiteral(" +00y") << true;
        QTest::newRow("on") << QStringLiteral("on") << false;
    }
    void boolValueOfText()
    {
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(SSNumberReading::boolValue(text), expected);
        QCOMPARE(SSNumberReading::boolValue(QVariant(text)), expected);
    }

    void valuesOfOtherTypes()
    {
        QCOMPARE(SSNumberReading::integerValue(QVariant(true)), 1);
        QCOMPARE(SSNumberReading::integerValue(QVariant(-2.9)), -2);
        QCOMPARE(SSNumberReading::integerValue(QVariant(std::numeric_limits<double>::quiet_NaN())),
                 0);
        QCOMPARE(SSNumberReading::integerValue(QVariant(1e300)),
                 std::numeric_limits<qint64>::max());
        QCOMPARE(SSNumberReading::integerValue(QVariant(-1e300)),
                 std::numeric_limits<qint64>::min());
        QCOMPARE(SSNumberReading::integerValue(QVariant(QVariantList{1})), 0);
        QCOMPARE(SSNumberReading::integerValue(QVariant(QByteArray("5"))), 0);
        QCOMPARE(SSNumberReading::boolValue(QVariant(0.5)), true);
        QCOMPARE(SSNumberReading::boolValue(QVariant(0.0)), false);
        QCOMPARE(SSNumberReading::boolValue(QVariant(qlonglong(0))), false);
        QCOMPARE(SSNumberReading::boolValue(QVariant(QVariantMap{})), false);
    }
};

QTEST_GUILESS_MAIN(tst_SSNumberReading)
#include "tst_SSNumberReading.moc"
