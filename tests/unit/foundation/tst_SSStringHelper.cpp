#include "foundation/SSStringHelper.h"

#include <QTest>

using namespace SSHelper;

class tst_SSStringHelper : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void escapesBackslashesBeforeQuotes()
    {
        QCOMPARE(stringEscapedToShell(QStringLiteral("a\\\"b")), QStringLiteral("a\\\\\\\"b"));
    }

    void escapesNothingElse()
    {
        const QString text = QStringLiteral("$x `y` [z]\n'q'");
        QCOMPARE(stringEscapedToShell(text), text);
    }

    void trimmingATextOfNothingButTheSetGivesTheEmptyText()
    {
        const CharacterSet stars = [](QChar c) { return c == u'*' || c == u'-'; };
        const QString text = QStringLiteral("*-**");
        QCOMPARE(stringByTrimmingCharactersInSet(text, stars), QString());
        QCOMPARE(stringByTrimmingLeadingCharactersInSet(text, stars), QString());
        QCOMPARE(stringByTrimmingTrailingCharactersInSet(text, stars), QString());
        QCOMPARE(stringByTrimmingWhitespaceAndNewlineCharacters(QStringLiteral(" \r\n\t ")),
                 QString());
        QCOMPARE(stringByTrimmingCharactersInSet(QString(), stars), QString());
    }

    void trimsTheAskedEndsOnly()
    {
        const CharacterSet stars = [](QChar c) { return c == u'*'; };
        const QString text = QStringLiteral("**a*b*");
        QCOMPARE(stringByTrimmingLeadingCharactersInSet(text, stars), QStringLiteral("a*b*"));
        QCOMPARE(stringByTrimmingTrailingCharactersInSet(text, stars), QStringLiteral("**a*b"));
        QCOMPARE(stringByTrimmingCharactersInSet(text, stars), QStringLiteral("a*b"));
        const QString padded = QStringLiteral(" \ta b\r\n");
        QCOMPARE(stringByTrimmingLeadingWhitespaceAndNewlineCharacters(padded),
                 QStringLiteral("a b\r\n"));
        QCOMPARE(stringByTrimmingTrailingWhitespaceAndNewlineCharacters(padded),
                 QStringLiteral(" \ta b"));
        QCOMPARE(stringByTrimmingWhitespaceAndNewlineCharacters(padded), QStringLiteral("a b"));
    }

    void whiteSpaceBeyondAsciiIsTrimmed()
    {
        // No-break space, next line, line separator, ideographic space.
        QCOMPARE(stringByTrimmingWhitespaceAndNewlineCharacters(
                     QStringLiteral(u"\u00A0\u0085x\u2028\u3000")),
                 QStringLiteral("x"));
    }

    void repeats()
    {
        QCOMPARE(stringWithRepeatString(QStringLiteral("*"), 8), QStringLiteral("********"));
        QCOMPARE(stringWithRepeatString(QStringLiteral("ab"), 3), QStringLiteral("ababab"));
        QCOMPARE(stringWithRepeatString(QStringLiteral("*"), 0), QString());
        QCOMPARE(stringWithRepeatString(QStringLiteral("*"), -1), QString());
        QCOMPARE(stringWithRepeatString(QString(), 5), QString());
    }
};

QTEST_GUILESS_MAIN(tst_SSStringHelper)
#include "tst_SSStringHelper.moc"
