#include "platform/PropertyList.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QTest>

/// The XML reader on files written by hand.
class tst_PropertyListXml : public QObject
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
    static QString errorOf(const QByteArray &contents, const PropertyListLimits &limits = {})
    {
        const PropertyListResult result = readPropertyList(contents, limits);
        return result ? QStringLiteral("was read") : result.error().text;
    }

private Q_SLOTS:
    void scalars_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QVariant>("expected");
        const auto row = [](const char *name, const char *xml, const QVariant &expected) {
            QTest::newRow(name) << QByteArray(xml) << expected;
        };
        row("true", "<true/>", true);
        row("false", "<false></false>", false);
        row("text", "<string> a\n&lt;&#x1f600;&amp; </string>",
            QStringLiteral(" a\n<\U0001f600& "));
        row("CDATA", "<string><![CDATA[<&>]]></string>", QStringLiteral("<&>"));
        row("text around a comment", "<string>a<!-- b -->c</string>", QStringLiteral("ac"));
        row("no text", "<string/>", QString(QLatin1String("")));
        row("integer", "<integer> -12 </integer>", qlonglong(-12));
        row("integer with a plus", "<integer>+12</integer>", qlonglong(12));
        row("hexadecimal integer", "<integer>0xFF</integer>", qlonglong(255));
        row("least integer", "<integer>-9223372036854775808</integer>",
            std::numeric_limits<qlonglong>::min());
        row("greatest signed integer", "<integer>9223372036854775807</integer>",
            std::numeric_limits<qlonglong>::max());
        row("greatest unsigned integer", "<integer>18446744073709551615</integer>",
            std::numeric_limits<qulonglong>::max());
        row("real", "<real>-1.5e3</real>", -1500.0);
        row("date", "<date>2021-03-04T10:15:02Z</date>",
            QDateTime(QDate(2021, 3, 4), QTime(10, 15, 2), Qt::UTC));
        row("data over lines", "<data>\n\tAQ\n\tID\n</data>", QByteArray("\x01\x02\x03"));
        row("no data", "<data></data>", QByteArray(""));
    }
    void scalars()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QVariant, expected);
        const PropertyListResult result = readPropertyList(file(xml));
        QVERIFY2(result.ok(), result.ok() ? "" : qPrintable(result.error().text));
        QCOMPARE(result.value().typeId(), expected.typeId());
        QCOMPARE(result.value(), expected);
    }

    void containers()
    {
        const PropertyListResult result = readPropertyList(
            file("<dict><!-- note --><key>a</key><array><integer>1</integer><dict/></array>\n"
                 "<key>b</key><array/></dict>"));
        QVERIFY(result.ok());
        QCOMPARE(result.value().toMap(),
                 (QVariantMap{{QStringLiteral("a"), QVariantList{qlonglong(1), QVariantMap()}},
                              {QStringLiteral("b"), QVariantList()}}));
    }

    void otherEncodingsAndNoDocumentTypeAreRead()
    {
        QVERIFY(readPropertyList("<plist><true/></plist>").ok());
        QVERIFY(readPropertyList("\xef\xbb\xbf<plist><true/></plist>").ok());
        const QString text = QStringLiteral("\ufeff<plist><string>\u00e4</string></plist>");
        const PropertyListResult utf16 = readPropertyList(
            QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2));
        QVERIFY(utf16.ok());
        QCOMPARE(utf16.value(), QVariant(QStringLiteral("\u00e4")));
        QVERIFY(readPropertyList("<?xml version='1.0' encoding='us-ascii'?><plist><true/></plist>")
                    .ok());
        QCOMPARE(errorOf("<?xml version='1.0' encoding='ISO-8859-1'?><plist><true/></plist>"),
                 QStringLiteral("its encoding is not Unicode (line 1)"));
    }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QByteArray &contents, const char *text) {
            QTest::newRow(name) << contents << QString::fromLatin1(text);
        };
        row("HTML", "<html/>", "not a property list (line 1)");
        row("no value", file(""), "the property list holds no value (line 5)");
        row("two values", file("<true/><true/>"),
            "the property list holds more than one value (line 4)");
        row("a text value", file("yes"), "text between the values (line 5)");
        row("text in an array", file("<array>x</array>"), "text between the values (line 4)");
        row("unknown type", file("<uid>1</uid>"), "an invalid <uid> (line 4)");
        row("no integer", file("<integer/>"), "an invalid <integer> (line 4)");
        row("a word for an integer", file("<integer>one</integer>"),
            "an invalid <integer> (line 4)");
        row("two signs", file("<integer>--1</integer>"), "an invalid <integer> (line 4)");
        row("a fraction for an integer", file("<integer>1.0</integer>"),
            "an invalid <integer> (line 4)");
        row("integer above 64 bits", file("<integer>18446744073709551616</integer>"),
            "an invalid <integer> (line 4)");
        row("integer below 64 bits", file("<integer>-9223372036854775809</integer>"),
            "an invalid <integer> (line 4)");
        row("a word for a real", file("<real>one</real>"), "an invalid <real> (line 4)");
        row("date without a time", file("<date>2021-03-04</date>"), "an invalid <date> (line 4)");
        row("a day that is none", file("<date>2021-02-30T10:15:02Z</date>"),
            "an invalid <date> (line 4)");
        row("data cut off", file("<data>AQI</data>"), "an invalid <data> (line 4)");
        row("data that is no Base64", file("<data>A!ID</data>"), "an invalid <data> (line 4)");
        row("text in true", file("<true>1</true>"), "an invalid <true> (line 4)");
        row("value without a key", file("<dict><true/></dict>"),
            "a dictionary value without a key (line 4)");
        row("key without a value", file("<dict><key>a</key></dict>"),
            "a dictionary key without a value (line 4)");
        row("two keys", file("<dict><key>a</key><key>b</key></dict>"),
            "a dictionary key without a value (line 4)");
        row("element in a text", file("<string>a<true/></string>"),
            "a value within a simple value (line 4)");
        row("unknown entity", file("<string>&a;</string>"), "an entity is not known (line 4)");
        row("unknown entity between values", file("<array>&a;</array>"),
            "an entity is not known (line 4)");
        row("declared entity",
            "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
            "the document type declares something");
        row("external entity",
            "<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>"
            "<plist><string>&a;</string></plist>",
            "the document type declares something");
    }
    void refused()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, text);
        QCOMPARE(errorOf(contents), text);
    }

    void whatIsNotWellFormedIsRefused_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("old text form") << QByteArray("{ a = b; }");
        QTest::newRow("crossed tags") << file("<array><dict></array></dict>");
        QTest::newRow("invalid UTF-8") << file("<string>\xff</string>");
        QTest::newRow("U+0000") << file("<string>&#0;</string>");
        QTest::newRow("content behind the end") << file("<true/>") + "<plist/>";
        QTest::newRow("binary junk") << QByteArray("\x00\x01\x02\xff\xfe", 5);
    }
    void whatIsNotWellFormedIsRefused()
    {
        QFETCH(QByteArray, contents);
        const PropertyListResult result = readPropertyList(contents);
        QVERIFY(!result.ok());
        QVERIFY(!result.error().text.isEmpty());
    }

    void everyTruncationIsRefused()
    {
        const QByteArray good = file("<dict><key>a</key><string>b</string></dict>").trimmed();
        QVERIFY(readPropertyList(good).ok());
        for (qsizetype length = 0; length < good.size(); ++length)
            QVERIFY(!readPropertyList(good.first(length)).ok());
    }

    void nestedEntitiesAreNotExpanded()
    {
        QByteArray bomb = "<!DOCTYPE plist [<!ENTITY a0 \"ha\">";
        for (int i = 1; i < 64; ++i) {
            const QByteArray inner = "&a" + QByteArray::number(i - 1) + ";";
            bomb += "<!ENTITY a" + QByteArray::number(i) + " \"" + inner + inner + "\">";
        }
        bomb += "]><plist><string>&a63;</string></plist>";
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!readPropertyList(bomb).ok());
        QVERIFY(timer.elapsed() < 30'000);
    }

    // Attributes are compared with each other, so many in one tag would take for ever.
    void aTagOfManyAttributesIsRefusedAtOnce_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::newRow("plain") << QByteArray();
        QTest::newRow("behind a comment") << QByteArray("<!-- it's > \" -->");
        QTest::newRow("behind an instruction") << QByteArray("<?a b='>\"?>");
        QTest::newRow("behind a document type") << QByteArray("<!DOCTYPE plist SYSTEM \"'>\">");
    }
    void aTagOfManyAttributesIsRefusedAtOnce()
    {
        QFETCH(QByteArray, before);
        QByteArray attributes;
        for (int i = 0; i < 600'000; ++i)
            attributes += " a" + QByteArray::number(i) + "='>'";
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(errorOf(before + "<plist" + attributes + "><true/></plist>"),
                 QStringLiteral("a tag is too long"));
        QVERIFY(timer.elapsed() < 30'000);
    }

    void aDocumentTypeOfManyDeclarationsIsRefusedAtOnce()
    {
        QByteArray declarations;
        for (int i = 0; i < 200'000; ++i)
            declarations += "<!ATTLIST plist a" + QByteArray::number(i) + " CDATA 'x'>";
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(errorOf("<!DOCTYPE plist [" + declarations + "]><plist><true/></plist>"),
                 QStringLiteral("the document type declares something"));
        QVERIFY(timer.elapsed() < 30'000);
    }

    void longTextsAndCommentsAreNoLongTags()
    {
        const QByteArray text(5000, '=');
        const PropertyListResult result =
            readPropertyList("<!--" + text + "--><plist><?a " + text + "?><string>" + text +
                             "\"'><![CDATA[<" + text + "]]></string></plist>");
        QVERIFY(result.ok());
        QCOMPARE(result.value(), QVariant(QString::fromLatin1(text + "\"'><" + text)));
    }

    void limits()
    {
        const auto nested = [](int depth) {
            return file(QByteArray("<array>").repeated(depth) +
                        QByteArray("</array>").repeated(depth));
        };
        QVERIFY(readPropertyList(nested(64)).ok());
        QCOMPARE(errorOf(nested(65)),
                 QStringLiteral("too many containers within each other (line 4)"));
        QVERIFY(!readPropertyList(nested(200'000)).ok());

        PropertyListLimits limits;
        limits.values = 3;
        QVERIFY(readPropertyList(file("<array><true/><true/></array>"), limits).ok());
        QCOMPARE(errorOf(file("<array><true/><true/><true/></array>"), limits),
                 QStringLiteral("too many or too large values (line 4)"));
        limits = {};
        limits.contentSize = 6;
        QVERIFY(readPropertyList(file("<string>abc</string>"), limits).ok());
        QCOMPARE(errorOf(file("<string>abcd</string>"), limits),
                 QStringLiteral("too many or too large values (line 4)"));
        limits = {};
        limits.fileSize = 10;
        QCOMPARE(errorOf(file("<true/>"), limits), QStringLiteral("the file is too large"));
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListXml)
#include "tst_PropertyListXml.moc"
