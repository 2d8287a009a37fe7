#include "app/ctl/SSControlText.h"

#include <QTest>

class tst_SSControlText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printable_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QString &text, const QString &expected) {
            QTest::newRow(name) << text << expected;
        };
        row("plain", QStringLiteral("CORP\\jdoe"), QStringLiteral("CORP\\jdoe"));
        row("letters", QStringLiteral("Jürgen 日本 😀"), QStringLiteral("Jürgen 日本 😀"));
        row("line feed", QStringLiteral("a\nb"), QStringLiteral("a\nb"));
        row("escape", QStringLiteral("\x1b[2J"), QStringLiteral("\\u{1b}[2J"));
        row("carriage return", QStringLiteral("a\rb"), QStringLiteral("a\\u{d}b"));
        row("NUL", QString(QChar(0)), QStringLiteral("\\u{0}"));
        row("C1 control", QString(QChar(0x9b)), QStringLiteral("\\u{9b}"));
        row("right to left", QString(QChar(0x202e)), QStringLiteral("\\u{202e}"));
        row("line separator", QString(QChar(0x2028)), QStringLiteral("\\u{2028}"));
        row("lone high surrogate", QString(QChar(0xd83d)), QStringLiteral("\\u{d83d}"));
        row("lone low surrogate", QString(QChar(0xde00)) + QLatin1Char('a'),
            QStringLiteral("\\u{de00}a"));
        row("tag character", QString(QChar(0xdb40)) + QChar(0xdc41), QStringLiteral("\\u{e0041}"));
    }
    void printable()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(SSControlText::printable(text), expected);
    }

    void quotedTellsAbsentFromEmpty()
    {
        QCOMPARE(SSControlText::quoted(std::nullopt), QStringLiteral("(none)"));
        QCOMPARE(SSControlText::quoted(QString()), QStringLiteral("\"\""));
        QCOMPARE(SSControlText::quoted(QStringLiteral("a\nb")), QStringLiteral("\"a\\nb\""));
    }

    void valuesPrintByTheirType()
    {
        QCOMPARE(SSControlText::value(QVariant()), QStringLiteral("(none)"));
        QCOMPARE(SSControlText::value(true), QStringLiteral("YES"));
        QCOMPARE(SSControlText::value(false), QStringLiteral("NO"));
        QCOMPARE(SSControlText::value(-5), QStringLiteral("-5"));
        QCOMPARE(SSControlText::value(QStringLiteral("5")), QStringLiteral("\"5\""));
    }

    void absentIsNullForPrograms()
    {
        QVERIFY(SSControlText::json(std::optional<QString>()).isNull());
        QVERIFY(SSControlText::json(std::optional<QStringList>()).isNull());
        QVERIFY(SSControlText::json(QVariant()).isNull());
        QCOMPARE(SSControlText::json(std::optional(QString())), QJsonValue(QString()));
        QCOMPARE(SSControlText::json(QVariant(7)), QJsonValue(7));
        QCOMPARE(SSControlText::json(QVariant(true)), QJsonValue(true));
    }
};

QTEST_GUILESS_MAIN(tst_SSControlText)
#include "tst_SSControlText.moc"
