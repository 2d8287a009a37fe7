#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTest>

#include <limits>

/// The XML writer against files written by hand.
class tst_PropertyListXmlWriter : public QObject
{
    Q_OBJECT

    static QByteArray file(const QByteArray &value)
    {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
               "<plist version=\"1.0\">\n" +
               value + "\n</plist>\n";
    }
    static QByteArray written(const QVariant &value)
    {
        const auto result = writeXmlPropertyList(value);
        if (!result)
            return result.error().text.toUtf8();
        return {reinterpret_cast<const char *>(result.value().data()),
                static_cast<qsizetype>(result.value().size())};
    }
    static QByteArray refusal(const QVariant &value, const PropertyListLimits &limits)
    {
        const auto result = writeXmlPropertyList(value, limits);
        return result ? QByteArray("was written") : result.error().text.toUtf8();
    }

private Q_SLOTS:
    void scalars_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char *name, const QVariant &value, const char *expected) {
            QTest::newRow(name) << value << QByteArray(expected);
        };
        row("true", true, "<true/>");
        row("false", false, "<false/>");
        row("markup", QStringLiteral("<a & 'b'>"), "<string>&lt;a &amp; 'b'&gt;</string>");
        row("blanks", QStringLiteral(" \t\n "), "<string> \t\n </string>");
        row("a carriage return", QStringLiteral("\ra\r\n"), "<string>&#13;a&#13;\n</string>");
        row("beyond the basic plane", QStringLiteral("\U0001f600"),
            "<string>\xf0\x9f\x98\x80</string>");
        row("no text", QString(), "<string></string>");
        row("an integer", 42, "<integer>42</integer>");
        row("the least integer", std::numeric_limits<qlonglong>::min(),
            "<integer>-9223372036854775808</integer>");
        row("the greatest integer", std::numeric_limits<qulonglong>::max(),
            "<integer>18446744073709551615</integer>");
        row("a real", 2.5, "<real>2.5</real>");
        row("a real that needs all its digits", 0.1 + 0.2, "<real>0.30000000000000004</real>");
        row("infinity", -std::numeric_limits<double>::infinity(), "<real>-inf</real>");
        row("a date", QDateTime(QDate(33, 3, 4), QTime(10, 15, 2, 999), Qt::UTC),
            "<date>0033-03-04T10:15:02Z</date>");
        row("a date of elsewhere",
            QDateTime(QDate(2026, 1, 1), QTime(0, 30), Qt::OffsetFromUTC, 3600),
            "<date>2025-12-31T23:30:00Z</date>");
        row("data", QByteArray("\x00\xff\x10", 3), "<data>AP8Q</data>");
        row("no data", QByteArray(), "<data></data>");
    }
    void scalars()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, expected);
        // An element without text has two spellings of one meaning.
        QByteArray actual = written(value);
        actual.replace("<string/>", "<string></string>").replace("<data/>", "<data></data>");
        QCOMPARE(actual, file(expected));
    }

    void dataThatIsViewed()
    {
        const QByteArray bytes("\x01\x02\x03", 3);
        QCOMPARE(written(QVariant::fromValue(
                     PropertyListData{std::as_bytes(std::span(bytes.constData(), 3)), nullptr})),
                 file("<data>AQID</data>"));
    }

    void containers()
    {
        PropertyListDictionary inOrder;
        inOrder.insert(QStringLiteral("z"), QStringList{QStringLiteral("a")});
        inOrder.insert(QStringLiteral("a&b"), QVariantMap{{QStringLiteral("k"), QVariantList()}});
        QCOMPARE(written(QVariant::fromValue(inOrder)), file("<dict>\n"
                                                             "\t<key>z</key>\n"
                                                             "\t<array>\n"
                                                             "\t\t<string>a</string>\n"
                                                             "\t</array>\n"
                                                             "\t<key>a&amp;b</key>\n"
                                                             "\t<dict>\n"
                                                             "\t\t<key>k</key>\n"
                                                             "\t\t<array/>\n"
                                                             "\t</dict>\n"
                                                             "</dict>"));
        QCOMPARE(written(QVariantMap()), file("<dict/>"));
    }

    void everyTextIsReadBackAsItWas()
    {
        QVariantMap values;
        for (const QString &text :
             {QStringLiteral("\r"), QStringLiteral("a\r\nb\rc\n"), QStringLiteral("]]>"),
              QStringLiteral(" "), QStringLiteral("\t"), QStringLiteral("\u0085\u2028\ufeff"),
              QStringLiteral("&#13;")})
            values.insert(text, text);
        const PropertyListResult result = readXmlPropertyList(written(values));
        QVERIFY2(result.ok(), result.ok() ? "" : qUtf8Printable(result.error().text));
        QCOMPARE(result.value().toMap(), values);
    }

    void whatCannotBeWritten_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray notXml = "a text holds what XML cannot";
        QTest::newRow("a control character") << QVariant(QStringLiteral("\x1b")) << notXml;
        QTest::newRow("the character zero") << QVariant(QString(QChar())) << notXml;
        QTest::newRow("no character") << QVariant(QString(QChar(0xffff))) << notXml;
        QTest::newRow("half a character") << QVariant(QString(QChar(0xd800))) << notXml;
        QTest::newRow("in a key") << QVariant(QVariantMap{{QStringLiteral("\x01"), true}})
                                  << notXml;
        QTest::newRow("in a list") << QVariant(QVariantList{1, QStringLiteral("\x01")}) << notXml;
        QTest::newRow("no value") << QVariant()
                                  << QByteArray("a value of the type \"none\" cannot be in it");
        QTest::newRow("another type")
            << QVariant(QTime(1, 2)) << QByteArray("a value of the type \"QTime\" cannot be in it");
        QTest::newRow("no date") << QVariant(QDateTime()) << QByteArray("a date is out of range");
        QTest::newRow("a year of five digits")
            << QVariant(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC))
            << QByteArray("a date is out of range");
    }
    void whatCannotBeWritten()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, expected);
        QCOMPARE(written(value), expected);
    }

    void theLimits()
    {
        const QVariantMap value{{QStringLiteral("ab"), QVariantList{QStringLiteral("cd")}}};
        // The dictionary, its key, the list and the text.
        QCOMPARE(refusal(value, {.values = 4}), QByteArray("was written"));
        QCOMPARE(refusal(value, {.values = 3}), QByteArray("too many or too large values"));
        QCOMPARE(refusal(value, {.depth = 2}), QByteArray("was written"));
        QCOMPARE(refusal(value, {.depth = 1}), QByteArray("too many containers within each other"));
        QCOMPARE(refusal(value, {.contentSize = 8}), QByteArray("was written"));
        QCOMPARE(refusal(value, {.contentSize = 7}), QByteArray("too many or too large values"));
        const qsizetype size = written(value).size();
        QCOMPARE(refusal(value, {.fileSize = size}), QByteArray("was written"));
        QCOMPARE(refusal(value, {.fileSize = size - 1}), QByteArray("the file is too large"));
    }

    void theFormatOfAFileIsKept()
    {
        const QVariantMap value{{QStringLiteral("a"), true}};
        for (const auto format : {PropertyListFormat::Xml, PropertyListFormat::Binary}) {
            const auto bytes = writePropertyList(value, format);
            QVERIFY(bytes.ok());
            const QByteArray contents(reinterpret_cast<const char *>(bytes.value().data()),
                                      static_cast<qsizetype>(bytes.value().size()));
            QVERIFY(propertyListFormat(contents) == format);
            QCOMPARE(contents.startsWith("bplist00"), format == PropertyListFormat::Binary);
            QCOMPARE(readPropertyList(contents).value().toMap(), value);
        }
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListXmlWriter)
#include "tst_PropertyListXmlWriter.moc"
