#include "foundation/SSFormat.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

class tst_SSFormat : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void placeholders()
    {
        QCOMPARE(SSFormat::format("plain"), QStringLiteral("plain"));
        QCOMPARE(SSFormat::format(""), QString());
        QCOMPARE(SSFormat::format("a %@ b", QStringLiteral("x")), QStringLiteral("a x b"));
        QCOMPARE(SSFormat::format("%@%@", QStringLiteral("x"), QStringLiteral("y")),
                 QStringLiteral("xy"));
        QCOMPARE(SSFormat::format("%d %ld %u %lu", -1, -2LL, 3U, 4ULL),
                 QStringLiteral("-1 -2 3 4"));
        QCOMPARE(SSFormat::format("%lu", -1), QStringLiteral("18446744073709551615"));
        QCOMPARE(SSFormat::format("%zu 0x%x 0x%x", std::size_t{5}, 0xa400U, 0),
                 QStringLiteral("5 0xa400 0x0"));
        QCOMPARE(SSFormat::format("%s", "-[SSEnroll x:]"), QStringLiteral("-[SSEnroll x:]"));
        QCOMPARE(SSFormat::format("100%% %@", 5), QStringLiteral("100% 5"));
        QCOMPARE(SSFormat::format("%@@%@", QStringLiteral("jdoe"), QStringLiteral("corp")),
                 QStringLiteral("jdoe@corp"));
        QCOMPARE(SSFormat::format("\xC3\xBC %@", QStringLiteral("ü")), QStringLiteral("ü ü"));
    }

    void absentIsNotEmpty()
    {
        QCOMPARE(SSFormat::format("[%@]", std::nullopt), QStringLiteral("[(null)]"));
        QCOMPARE(SSFormat::format("[%@]", std::optional<QString>()), QStringLiteral("[(null)]"));
        QCOMPARE(SSFormat::format("[%@]", QString()), QStringLiteral("[]"));
    }

    void argumentsAreNotScannedForPlaceholders()
    {
        QCOMPARE(SSFormat::format("%@ %@", QStringLiteral("%@"), QStringLiteral("%d%%")),
                 QStringLiteral("%@ %d%%"));
    }

    void placeholdersWithoutArgumentsStay()
    {
        QCOMPARE(SSFormat::format("%@ %@", 1), QStringLiteral("1 %@"));
        QCOMPARE(SSFormat::format("%"), QStringLiteral("%"));
        QCOMPARE(SSFormat::format("50 %z %l"), QStringLiteral("50 %z %l"));
    }

    void collections()
    {
        QCOMPARE(SSFormat::description(QStringList{}), QStringLiteral("(\n)"));
        QCOMPARE(SSFormat::description(QStringList{QStringLiteral("CORP"), QStringLiteral("a b")}),
                 QStringLiteral("(\n    CORP,\n    \"a b\"\n)"));
        const QMap<QString, QString> map{{QStringLiteral("b"), QStringLiteral("x\"y\\z")},
                                         {QStringLiteral("a.b"), QStringLiteral("é\n")}};
        QCOMPARE(SSFormat::format("%@", map),
                 QStringLiteral("{\n    \"a.b\" = \"\\U00e9\\n\";\n    b = \"x\\\"y\\\\z\";\n}"));
        const QMap<QString, QString> texts{{QStringLiteral("b"), QStringLiteral("1.2")},
                                           {QStringLiteral("a"), QString()}};
        QCOMPARE(SSFormat::format("%@", texts),
                 QStringLiteral("{\n    a = \"\";\n    b = \"1.2\";\n}"));
        const QVariant nested = QVariantMap{{QStringLiteral("k"), QVariantList{1, QString()}}};
        QCOMPARE(SSFormat::description(nested),
                 QStringLiteral("{\n    k = (\n        1,\n        \"\"\n    );\n}"));
    }

    void scalars()
    {
        QCOMPARE(SSFormat::description(QVariant(true)), QStringLiteral("1"));
        QCOMPARE(SSFormat::description(QVariant(qlonglong(-7))), QStringLiteral("-7"));
        QCOMPARE(SSFormat::description(QVariant(1.5)), QStringLiteral("1.5"));
        QCOMPARE(SSFormat::description(QVariant(0.1)), QStringLiteral("0.1"));
        QCOMPARE(SSFormat::description(QVariant(30.0)), QStringLiteral("30"));
        QCOMPARE(SSFormat::description(QVariant(QByteArray::fromHex("00ff"))),
                 QStringLiteral("<00ff>"));
        QCOMPARE(SSFormat::description(QVariant(QByteArray::fromHex("0102030405060708ff"))),
                 QStringLiteral("<01020304 05060708 ff>"));
        QCOMPARE(SSFormat::description(QVariant(QByteArray(""))), QStringLiteral("<>"));
        QCOMPARE(
            SSFormat::description(QVariant(QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC))),
            QStringLiteral("2021-03-04 05:06:07 +0000"));
        QCOMPARE(SSFormat::description(QVariant()), QStringLiteral("(null)"));
    }
};

QTEST_GUILESS_MAIN(tst_SSFormat)
#include "tst_SSFormat.moc"
