#include "platform/embedded/directory/LdifDocument.h"

#include <QTest>

class tst_LdifDocument : public QObject
{
    Q_OBJECT

    static QList<QPair<QByteArray, QByteArray>> attributesOf(const LdifDocument &document,
                                                             std::size_t entry)
    {
        QList<QPair<QByteArray, QByteArray>> result;
        for (const auto &attribute : document.attributes(document.entries().at(entry)))
            result.append({document.name(attribute.name), attribute.value.toByteArray()});
        return result;
    }
    using Pairs = QList<QPair<QByteArray, QByteArray>>;

private Q_SLOTS:
    // The first and second examples of RFC 2849, with the folded line of the second.
    void examplesOfTheStandard()
    {
        auto document = LdifDocument::parse(
            "version: 1\n"
            "dn: cn=Barbara Jensen, ou=Product Development, dc=airius, dc=com\n"
            "objectclass: top\n"
            "objectclass: person\n"
            "cn: Barbara Jensen\n"
            "cn: Barbara J Jensen\n"
            "telephonenumber: +1 408 555 1212\n"
            "description: A big sailing fan.\n"
            "\n"
            "dn:cn=Barbara Jensen, ou=Product Development, dc=airius, dc=com\n"
            "title:Product Manager, Rod and Reel Division\n"
            "description:Babs is a big sailing fan, and travels extensively in sea\n"
            " rch of perfect sailing conditions.\n");
        QVERIFY(document.ok());
        QCOMPARE(document.value().entries().size(), 2U);
        QCOMPARE(document.value().entries()[0].dn,
                 QByteArrayView("cn=Barbara Jensen, ou=Product Development, dc=airius, dc=com"));
        QCOMPARE(attributesOf(document.value(), 0), Pairs({{"objectclass", "top"},
                                                           {"objectclass", "person"},
                                                           {"cn", "Barbara Jensen"},
                                                           {"cn", "Barbara J Jensen"},
                                                           {"telephonenumber", "+1 408 555 1212"},
                                                           {"description", "A big sailing fan."}}));
        QCOMPARE(attributesOf(document.value(), 1),
                 Pairs({{"title", "Product Manager, Rod and Reel Division"},
                        {"description", "Babs is a big sailing fan, and travels extensively in "
                                        "search of perfect sailing conditions."}}));
        QCOMPARE(document.value().entries()[1].line, 10);
    }

    void base64ValuesAndNamesAreDecoded()
    {
        // The third example of RFC 2849, shortened, and one of its organizational units.
        auto document = LdifDocument::parse(
            "dn: cn=Gern Jensen, ou=Product Testing, dc=airius, dc=com\n"
            "cn: Gern Jensen\n"
            "description:: V2hhdCBhIGNhcmVmdWwgcmVhZGVyIHlvdSBhcmUhICBUaGlzIHZhbHVlIGlzIGJhc2\n"
            " UtNjQtZW5jb2RlZCBiZWNhdXNlIGl0IGhhcyBhIGNvbnRyb2wgY2hhcmFjdGVyIGluIGl0IChhIENSK\n"
            " S4NICBCeSB0aGUgd2F5LCB5b3Ugc2hvdWxkIHJlYWxseSBnZXQgb3V0IG1vcmUu\n"
            "\n"
            "dn:: b3U95Za25qWt6YOoLG89QWlyaXVz\n"
            "# dn:: ou=<JapaneseOU>,o=Airius\n"
            "objectclass: organizationalUnit\n");
        QVERIFY(document.ok());
        QCOMPARE(attributesOf(document.value(), 0).value(1).second,
                 QByteArray("What a careful reader you are!  This value is base-64-encoded "
                            "because it has a control character in it (a CR).\r  By the way, you "
                            "should really get out more."));
        QCOMPARE(QString::fromUtf8(document.value().entries()[1].dn),
                 QStringLiteral("ou=営業部,o=Airius"));
        QCOMPARE(attributesOf(document.value(), 1), Pairs({{"objectclass", "organizationalUnit"}}));
    }

    void accepted_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("value"); ///< of the first entry's first attribute
        QTest::newRow("CR LF") << QByteArray("dn: o=a\r\nx: y\r\n\r\n") << QByteArray("y");
        QTest::newRow("no last line end") << QByteArray("dn: o=a\nx: y") << QByteArray("y");
        QTest::newRow("CR LF folded")
            << QByteArray("dn: o=a\r\nx: y\r\n z\r\n") << QByteArray("yz");
        QTest::newRow("folded at a blank") << QByteArray("dn: o=a\nx: y\n  z") << QByteArray("y z");
        QTest::newRow("folded in the name")
            << QByteArray("dn: o=a\nlong\n name: y") << QByteArray("y");
        QTest::newRow("folded often")
            << QByteArray("dn: o=a\nx: 1\n 2\n \n 3") << QByteArray("123");
        QTest::newRow("empty value") << QByteArray("dn: o=a\nx:\n") << QByteArray("");
        QTest::newRow("empty base64") << QByteArray("dn: o=a\nx::\n") << QByteArray("");
        QTest::newRow("colons in the value")
            << QByteArray("dn: o=a\nx: :a:b") << QByteArray(":a:b");
        QTest::newRow("trailing blank stays") << QByteArray("dn: o=a\nx: y \n") << QByteArray("y ");
        QTest::newRow("byte order mark") << QByteArray("\xEF\xBB\xBF"
                                                       "dn: o=a\nx: y")
                                         << QByteArray("y");
        QTest::newRow("comment, folded, in an entry")
            << QByteArray("dn: o=a\n# one\n  two\nx: y") << QByteArray("y");
        QTest::newRow("comment before the version")
            << QByteArray("# c\nversion: 1\n\n\ndn: o=a\nx: y") << QByteArray("y");
        QTest::newRow("UTF-8 without base64")
            << QByteArray("dn: o=a\nx: \xC3\xBC") << QByteArray("\xC3\xBC");
        QTest::newRow("binary option")
            << QByteArray("dn: o=a\nx;binary:: AAE=") << QByteArray("\0\1", 2);
    }
    void accepted()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, value);
        auto document = LdifDocument::parse(text);
        QVERIFY2(document.ok(), document.ok() ? "" : qPrintable(document.error().text));
        QCOMPARE(document.value().entries().size(), 1U);
        QCOMPARE(attributesOf(document.value(), 0).value(0).second, value);
    }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("line");
        QTest::newRow("no dn first") << QByteArray("\n\ncn: a\n") << 3;
        QTest::newRow("no colon") << QByteArray("dn: o=a\ncn a\n") << 2;
        QTest::newRow("empty name") << QByteArray("dn: o=a\n: a\n") << 2;
        QTest::newRow("blank in the name") << QByteArray("dn: o=a\nc n: a\n") << 2;
        QTest::newRow("name of an option alone") << QByteArray("dn: o=a\n;binary: a\n") << 2;
        QTest::newRow("two dn in one entry") << QByteArray("dn: o=a\ncn: a\ndn: o=b\n") << 3;
        QTest::newRow("value by URL") << QByteArray("dn: o=a\nx:< file:///etc/passwd\n") << 2;
        QTest::newRow("bad base64") << QByteArray("dn: o=a\nx:: a*b=\n") << 2;
        QTest::newRow("bad base64 in dn") << QByteArray("dn:: !\n") << 1;
        QTest::newRow("change record") << QByteArray("dn: o=a\nchangetype: delete\n") << 2;
        QTest::newRow("version 2") << QByteArray("version: 2\ndn: o=a\n") << 1;
        QTest::newRow("version twice") << QByteArray("version: 1\nversion: 1\n") << 2;
        QTest::newRow("continuation first") << QByteArray(" x\ndn: o=a\n") << 1;
        QTest::newRow("continuation of an empty line") << QByteArray("dn: o=a\n\n x\n") << 3;
        QTest::newRow("NUL") << QByteArray("dn: o=a\nx: a\0b\n", 16) << 2;
        QTest::newRow("lone CR") << QByteArray("dn: o=a\nx: a\rb\n") << 2;
        QTest::newRow("the line that begins a folded one")
            << QByteArray("dn: o=a\n# c\n d\nno\n colon\n") << 4;
        QTest::newRow("binary file") << QByteArray("\x7f"
                                                   "ELF\x02\x01\x01\0\0:",
                                                   10)
                                     << 1;
    }
    void refused()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, line);
        auto document = LdifDocument::parse(text);
        QVERIFY(!document.ok());
        QCOMPARE(document.error().line, line);
        QVERIFY(!document.error().text.isEmpty());
    }

    void anEmptyTextHasNoEntries()
    {
        for (const char *text : {"", "\n\n", "# nothing\n", "version: 1\n"}) {
            auto document = LdifDocument::parse(text);
            QVERIFY(document.ok());
            QVERIFY(document.value().entries().empty());
        }
    }

    void namesIgnoreCaseAndKeepTheirFirstSpelling()
    {
        auto document = LdifDocument::parse("dn: o=a\nsAMAccountName: a\nSAMACCOUNTNAME: b\n\n"
                                            "DN: o=b\nsamaccountname: c\n");
        QVERIFY(document.ok());
        QCOMPARE(attributesOf(document.value(), 0),
                 Pairs({{"sAMAccountName", "a"}, {"sAMAccountName", "b"}}));
        QCOMPARE(attributesOf(document.value(), 1), Pairs({{"sAMAccountName", "c"}}));
        QVERIFY(document.value().indexOfName("SamAccountName") >= 0);
        QCOMPARE(document.value().indexOfName("cn"), -1);
    }

    void absentAndEmptyValuesDiffer()
    {
        auto document = LdifDocument::parse("dn: o=a\nx:\n\ndn: o=b\ny: 1\n");
        QVERIFY(document.ok());
        const auto &entries = document.value().entries();
        const int name = document.value().indexOfName("x");
        QVERIFY(!document.value().firstValue(entries[0], name).isNull());
        QVERIFY(document.value().firstValue(entries[0], name).isEmpty());
        QVERIFY(document.value().firstValue(entries[1], name).isNull());
        QVERIFY(document.value().firstValue(entries[0], -1).isNull());
    }

    void limitsAreKept()
    {
        LdifLimits limits{100, 10, 2};
        QVERIFY(LdifDocument::parse("dn: o=a\n\ndn: o=b\n", limits).ok());

        auto tooMany = LdifDocument::parse("dn: o=a\n\ndn: o=b\n\ndn: o=c\n", limits);
        QVERIFY(!tooMany.ok());
        QCOMPARE(tooMany.error().line, 5);

        auto tooLong = LdifDocument::parse("dn: o=a\nx: 12345\n 6789a\n", limits);
        QVERIFY(!tooLong.ok());
        QCOMPARE(tooLong.error().line, 2);

        auto tooLarge = LdifDocument::parse(QByteArray(101, '\n'), limits);
        QVERIFY(!tooLarge.ok());
        QCOMPARE(tooLarge.error().line, 0);
        QVERIFY(LdifDocument::parse(QByteArray(100, '\n'), limits).ok());
    }

    void theCallersTextIsLeftAlone()
    {
        const QByteArray text = "dn: o=a\nx: 1\n 2\ny:: YQ==\n";
        const QByteArray before(text.constData(), text.size());
        {
            auto document = LdifDocument::parse(text);
            QVERIFY(document.ok());
        }
        QCOMPARE(text, before);
    }
};

QTEST_GUILESS_MAIN(tst_LdifDocument)
#include "tst_LdifDocument.moc"
