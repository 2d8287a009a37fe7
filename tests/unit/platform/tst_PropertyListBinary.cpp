#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTest>

#include <random>

/// The binary reader on files put together by hand.
class tst_PropertyListBinary : public QObject
{
    Q_OBJECT

    /// A file of these objects with one-byte references and two-byte offsets; the first is the top.
    static QByteArray file(const QByteArrayList &objects)
    {
        QByteArray result("bplist00");
        QByteArray table;
        for (const QByteArray &object : objects) {
            table.append(static_cast<char>(result.size() >> 8));
            table.append(static_cast<char>(result.size() & 0xff));
            result.append(object);
        }
        const auto number = [](qsizetype value) {
            QByteArray bytes(8, '\0');
            for (int i = 7; i >= 0; --i, value >>= 8)
                bytes[i] = static_cast<char>(value & 0xff);
            return bytes;
        };
        const qsizetype tableAt = result.size();
        result += table + QByteArray(6, '\0') + QByteArray("\x02\x01") + number(objects.size()) +
                  number(0) + number(tableAt);
        return result;
    }
    static QByteArray hex(const char *digits) { return QByteArray::fromHex(digits); }
    static QString errorOf(const QByteArray &contents, const PropertyListLimits &limits = {})
    {
        const PropertyListResult result = readPropertyList(contents, limits);
        return result ? QStringLiteral("was read") : result.error().text;
    }
    /// A dictionary with a text beyond ASCII, an array, a shared text, a date and data.
    static QByteArray sample()
    {
        return file({hex("d3 01 02 03 04 05 06"), hex("5161"), hex("5162"), hex("5163"),
                     hex("62d83dde00"), hex("a3 01 01 07"), hex("33 41 b0 00 00 00 00 00 00"),
                     hex("43010203")});
    }

private Q_SLOTS:
    void scalars_data()
    {
        QTest::addColumn<QByteArray>("object");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("false") << hex("08") << QVariant(false);
        QTest::newRow("true") << hex("09") << QVariant(true);
        QTest::newRow("one byte is unsigned") << hex("10ff") << QVariant(qlonglong(255));
        QTest::newRow("two bytes are unsigned") << hex("11ffff") << QVariant(qlonglong(65535));
        QTest::newRow("four bytes are unsigned")
            << hex("12ffffffff") << QVariant(qlonglong(4294967295));
        QTest::newRow("eight bytes are signed")
            << hex("13ffffffffffffffff") << QVariant(qlonglong(-1));
        QTest::newRow("2^63") << hex("14 0000000000000000 8000000000000000")
                              << QVariant(qulonglong(9223372036854775808ULL));
        QTest::newRow("-1 in sixteen bytes")
            << hex("14 ffffffffffffffff ffffffffffffffff") << QVariant(qlonglong(-1));
        QTest::newRow("real of four bytes") << hex("22 3fc00000") << QVariant(1.5);
        QTest::newRow("real of eight bytes") << hex("23 bff8000000000000") << QVariant(-1.5);
        QTest::newRow("the first moment of 2001")
            << hex("33 0000000000000000")
            << QVariant(QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
        QTest::newRow("half a second later")
            << hex("33 3fe0000000000000")
            << QVariant(QDateTime(QDate(2001, 1, 1), QTime(0, 0, 0, 500), Qt::UTC));
        QTest::newRow("the first moment of the year 1")
            << hex("33 c22d63c37f000000")
            << QVariant(QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC));
        QTest::newRow("the last second of the year 9999")
            << hex("33 424d62d23c7f8000")
            << QVariant(QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59), Qt::UTC));
        QTest::newRow("no data") << hex("40") << QVariant(QByteArray(""));
        QTest::newRow("data") << hex("42ff00") << QVariant(hex("ff00"));
        QTest::newRow("long data") << hex("4f10 03 010203") << QVariant(hex("010203"));
        QTest::newRow("no text") << hex("50") << QVariant(QString(QLatin1String("")));
        QTest::newRow("a text with U+0000")
            << hex("53 610062") << QVariant(QString::fromLatin1(QByteArrayView("a\0b", 3)));
        QTest::newRow("a text beyond the first plane")
            << hex("62 d83dde00") << QVariant(QStringLiteral("\U0001f600"));
        QTest::newRow("no array") << hex("a0") << QVariant(QVariantList());
        QTest::newRow("no dictionary") << hex("d0") << QVariant(QVariantMap());
    }
    void scalars()
    {
        QFETCH(QByteArray, object);
        QFETCH(QVariant, expected);
        const PropertyListResult result = readPropertyList(file({object}));
        QVERIFY2(result.ok(), result.ok() ? "" : qPrintable(result.error().text));
        QCOMPARE(result.value().typeId(), expected.typeId());
        QCOMPARE(result.value(), expected);
    }

    void sharedObjectsAreReadAtEachUse()
    {
        const PropertyListResult result =
            readPropertyList(file({hex("a3 01 01 02"), hex("5161"), hex("a2 01 01")}));
        QVERIFY(result.ok());
        const QVariant a = QStringLiteral("a");
        QCOMPARE(result.value().toList(), (QVariantList{a, a, QVariant(QVariantList{a, a})}));
    }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QByteArray &contents, const char *text) {
            QTest::newRow(name) << contents << QString::fromLatin1(text);
        };
        row("the magic alone", "bplist00", "not a binary property list of version 00");
        row("another version", file({hex("08")}).replace(0, 8, "bplist15"),
            "not a binary property list of version 00");
        row("zeros for a trailer", "bplist00" + QByteArray(32, '\0'), "the trailer is invalid");
        row("no objects", file({}), "the trailer is invalid");
        row("null", file({hex("00")}), "an object of an unknown type");
        row("fill byte", file({hex("0f")}), "an object of an unknown type");
        row("UID", file({hex("8001")}), "an object of an unknown type");
        row("set", file({hex("c0")}), "an object of an unknown type");
        row("integer of 32 bytes", file({hex("15") + QByteArray(32, '\0')}),
            "an integer is invalid");
        row("integer of 2^15 bytes", file({hex("1f")}), "an integer is invalid");
        row("integer cut off", file({hex("1300")}), "an integer is invalid");
        row("integer above 64 bits", file({hex("14 0000000000000001 0000000000000000")}),
            "an integer is too large");
        row("integer below 64 bits", file({hex("14 ffffffffffffffff 0000000000000000")}),
            "an integer is too large");
        row("real of two bytes", file({hex("210000")}), "a real number is invalid");
        row("real cut off", file({hex("2300")}), "a real number is invalid");
        row("date of four bytes", file({hex("3200000000")}), "a date is invalid");
        row("date cut off", file({hex("3300")}), "a date is invalid");
        row("date that is no number", file({hex("33 7ff8000000000000")}), "a date is out of range");
        row("infinite date", file({hex("33 7ff0000000000000")}), "a date is out of range");
        row("date before the year 1", file({hex("33 c22d63c37f020000")}), "a date is out of range");
        row("date in the year 10000", file({hex("33 424d62d23c800000")}), "a date is out of range");
        row("data cut off", file({hex("4300")}), "a text or data is cut off");
        row("text reaching into the table", file({hex("5261")}), "a text or data is cut off");
        row("UTF-16 cut off", file({hex("610000").chopped(1)}), "a text or data is cut off");
        row("count cut off", file({hex("5f")}), "a count is cut off");
        row("count that is no integer", file({hex("5f5161")}), "a count is invalid");
        row("count of sixteen bytes", file({hex("5f14") + QByteArray(16, '\0')}),
            "a count is invalid");
        row("count of 2^64 - 1", file({hex("5f13ffffffffffffffff")}), "a text or data is cut off");
        row("array of 2^63 entries", file({hex("af138000000000000000")}), "a container is cut off");
        row("dictionary of 2^63 entries", file({hex("df138000000000000000")}),
            "a container is cut off");
        row("8-bit text", file({hex("51ff")}), "an ASCII text has other characters");
        row("lone surrogate", file({hex("61d83d")}), "a UTF-16 text is invalid");
        row("dangling reference", file({hex("a105")}),
            "a reference to an object that does not exist");
        row("key that is a number", file({hex("d10102"), hex("1001"), hex("08")}),
            "a dictionary key is no text");
        row("array within itself", file({hex("a100")}), "a container holds itself");
        row("two containers within each other", file({hex("a101"), hex("d10200"), hex("5161")}),
            "a container holds itself");
    }
    void refused()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, text);
        QCOMPARE(errorOf(contents), text);
    }

    void trailersOutsideTheFileAreRefused()
    {
        // Each of the trailer's numbers is set to its largest value.
        const QByteArray good = sample();
        QVERIFY(readPropertyList(good).ok());
        const qsizetype trailer = good.size() - 32;
        for (const auto &[at, size] : {std::pair(6, 1), {7, 1}, {8, 8}, {16, 8}, {24, 8}}) {
            QByteArray bad = good;
            bad.replace(trailer + at, size, QByteArray(size, '\xff'));
            QCOMPARE(errorOf(bad), QStringLiteral("the trailer is invalid"));
        }
    }

    void anObjectInTheHeaderIsRefused()
    {
        QByteArray bad = file({hex("08")});
        bad.replace(9, 2, hex("0000"));
        QCOMPARE(errorOf(bad), QStringLiteral("an object outside the file"));
    }

    void everyTruncationIsRefused()
    {
        const QByteArray good = sample();
        for (qsizetype length = 0; length < good.size(); ++length)
            QVERIFY(!readPropertyList(good.first(length)).ok());
    }

    void depthIsLimited()
    {
        const auto nested = [](int depth) {
            QByteArrayList objects;
            for (int i = 1; i < depth; ++i)
                objects.append(QByteArray("\xa1") + static_cast<char>(i));
            objects.append(QByteArray("\xa0"));
            return file(objects);
        };
        QVERIFY(readPropertyList(nested(64)).ok());
        QCOMPARE(errorOf(nested(65)), QStringLiteral("too many containers within each other"));
    }

    // Twenty-four arrays, each holding the next one ten times, stand for 10^24 values.
    void sharedReferencesDoNotExhaustMemory()
    {
        QByteArrayList objects;
        for (char i = 1; i <= 24; ++i)
            objects.append(QByteArray("\xaa") + QByteArray(10, i));
        objects.append(hex("5161"));
        const QByteArray bomb = file(objects);
        QVERIFY(bomb.size() < 566);
        QCOMPARE(errorOf(bomb), QStringLiteral("too many or too large values"));
    }

    void sharedContentIsCountedAtEachUse()
    {
        const QByteArray data = hex("4f11 03e8") + QByteArray(1000, 'x');
        const QByteArray contents = file({hex("a3 01 01 01"), data});
        PropertyListLimits limits;
        limits.contentSize = 3000;
        QVERIFY(readPropertyList(contents, limits).ok());
        limits.contentSize = 2999;
        QCOMPARE(errorOf(contents, limits), QStringLiteral("too many or too large values"));
    }

    void valuesAndFileSizeAreLimited()
    {
        PropertyListLimits limits;
        limits.values = 8; // a dictionary, three keys, a text, an array of three: one too few
        QCOMPARE(errorOf(sample(), limits), QStringLiteral("too many or too large values"));
        limits = {};
        limits.fileSize = sample().size();
        QVERIFY(readPropertyList(sample(), limits).ok());
        --limits.fileSize;
        QCOMPARE(errorOf(sample(), limits), QStringLiteral("the file is too large"));
    }

    // No outcome is expected but that there is one; the sanitizers watch.
    void damagedFilesDoNoHarm()
    {
        std::mt19937 random(20210304);
        const QByteArray good = sample();
        int refusals = 0;
        for (int round = 0; round < 20'000; ++round) {
            QByteArray bad = good;
            for (unsigned changes = 1 + random() % 4; changes > 0; --changes) {
                bad[static_cast<qsizetype>(random() % static_cast<unsigned>(bad.size()))] =
                    static_cast<char>(random());
            }
            refusals += readPropertyList(bad).ok() ? 0 : 1;
        }
        QVERIFY(refusals > 10'000);
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListBinary)
#include "tst_PropertyListBinary.moc"
