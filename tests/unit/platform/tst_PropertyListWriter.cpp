#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTest>

#include <limits>

/// The binary writer, byte for byte. The expected bytes are put together by hand.
class tst_PropertyListWriter : public QObject
{
    Q_OBJECT

    static QByteArray hex(const char *digits) { return QByteArray::fromHex(digits); }
    static QByteArray bytesOf(const Result<std::vector<std::byte>, PropertyListError> &result)
    {
        if (!result)
            return "refused: " + result.error().text.toUtf8();
        return {reinterpret_cast<const char *>(result.value().data()),
                static_cast<qsizetype>(result.value().size())};
    }
    static QByteArray written(const QVariant &value)
    {
        return bytesOf(writeBinaryPropertyList(value));
    }
    static PropertyListData viewOf(const QByteArray &bytes)
    {
        return {std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))),
                nullptr};
    }
    /// The number in `size` bytes of the trailer at `at`.
    static quint64 trailerNumber(const QByteArray &file, qsizetype at, qsizetype size)
    {
        return file.sliced(file.size() - 32 + at, size).toHex().toULongLong(nullptr, 16);
    }
    static QVariantList distinctTexts(int count)
    {
        QVariantList list;
        for (int i = 0; i < count; ++i)
            list.append(QString::number(i));
        return list;
    }
    static QString errorOf(const QVariant &value, const PropertyListLimits &limits = {})
    {
        const auto result = writeBinaryPropertyList(value, limits);
        return result ? QStringLiteral("was written") : result.error().text;
    }

private Q_SLOTS:
    void aWholeFile()
    {
        const PropertyListDictionary dictionary{
            {QStringLiteral("b"), 1}, {QStringLiteral("a"), true}, {QStringLiteral("c"), 1}};
        // Offsets 8 dictionary, 15 "b", 17 "a", 19 "c", 21 one, 23 true; table at 24.
        QCOMPARE(bytesOf(writeBinaryPropertyList(dictionary)),
                 "bplist00" + hex("d3 01 02 03 04 05 04  5162 5161 5163  1001 09"
                                  "08 0f 11 13 15 17"
                                  "000000000000 01 01 0000000000000006 0000000000000000"
                                  "0000000000000018"));
    }

    void aMapIsWrittenInTheOrderOfItsKeys()
    {
        const QVariantMap map{{QStringLiteral("b"), 1}, {QStringLiteral("a"), 2}};
        QVERIFY(written(map).startsWith("bplist00" + hex("d2 01 02 03 04 5161 5162 1002 1001")));
    }

    void scalars_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("object");
        const auto row = [](const char *name, const QVariant &value, const char *object) {
            QTest::newRow(name) << value << hex(object);
        };
        row("false", false, "08");
        row("true", true, "09");
        row("0", 0, "1000");
        row("255", 255, "10ff");
        row("256", 256, "110100");
        row("65535", 65535, "11ffff");
        row("65536", 65536, "1200010000");
        row("2^32-1", 4294967295U, "12ffffffff");
        row("2^32", 4294967296LL, "130000000100000000");
        row("2^63-1", std::numeric_limits<qlonglong>::max(), "137fffffffffffffff");
        row("2^63", 9223372036854775808ULL, "1400000000000000008000000000000000");
        row("2^64-1", std::numeric_limits<qulonglong>::max(), "140000000000000000ffffffffffffffff");
        row("-1", -1, "13ffffffffffffffff");
        row("-2^63", std::numeric_limits<qlonglong>::min(), "138000000000000000");
        row("short", QVariant::fromValue(short{-2}), "13fffffffffffffffe");
        row("unsigned char", QVariant::fromValue(static_cast<unsigned char>(200)), "10c8");
        row("1.5", 1.5, "233ff8000000000000");
        row("-0.0", -0.0, "238000000000000000");
        row("float", 0.5F, "233fe0000000000000");
        row("2001-01-01", QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC), "330000000000000000");
        row("an hour east", QDateTime(QDate(2001, 1, 1), QTime(1, 0), Qt::OffsetFromUTC, 3600),
            "330000000000000000");
        row("half a second before 2001",
            QDateTime(QDate(2000, 12, 31), QTime(23, 59, 59, 500), Qt::UTC), "33bfe0000000000000");
        row("no data", QByteArray(), "40");
        row("data", hex("00ff"), "4200ff");
        row("14 bytes", QByteArray(14, 'x'), "4e7878787878787878787878787878");
        row("15 bytes", QByteArray(15, 'x'), "4f100f787878787878787878787878787878");
        row("no text", QString(), "50");
        row("ASCII", QStringLiteral("a\n"), "52610a");
        row("U+007F", QStringLiteral("\u007f"), "517f");
        row("U+0080", QString(QChar(0x80)), "610080");
        row("one other character", QStringLiteral("aé"), "62006100e9");
        row("beyond the first plane", QStringLiteral("\U0001f600"), "62d83dde00");
        row("U+0000", QString(QChar(0)), "5100");
        row("no array", QVariantList(), "a0");
        row("no dictionary", QVariantMap(), "d0");
        row("no ordered dictionary", QVariant::fromValue(PropertyListDictionary()), "d0");
    }
    void scalars()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, object);
        const QByteArray file = written(value);
        QVERIFY2(file.startsWith("bplist00" + object + '\x08'), file.toHex().constData());
        QCOMPARE(file.size(), 8 + object.size() + 1 + 32);
    }

    void longCounts_data()
    {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<QByteArray>("marker");
        QTest::newRow("255") << qsizetype{255} << hex("4f10ff");
        QTest::newRow("256") << qsizetype{256} << hex("4f110100");
        QTest::newRow("65535") << qsizetype{65535} << hex("4f11ffff");
        QTest::newRow("65536") << qsizetype{65536} << hex("4f1200010000");
    }
    void longCounts()
    {
        QFETCH(qsizetype, size);
        QFETCH(QByteArray, marker);
        QVERIFY(written(QByteArray(size, 'x')).startsWith("bplist00" + marker + "xx"));
    }

    void stringListsAreArraysOfTexts()
    {
        QVERIFY(written(QStringList{QStringLiteral("a"), QStringLiteral("b")})
                    .startsWith("bplist00" + hex("a2 01 02 5161 5162")));
    }

    void equalScalarsShareOneObject()
    {
        const QVariantList list{QStringLiteral("a"),
                                QByteArray("a"),
                                97,
                                true,
                                1,
                                1.0,
                                QDateTime(QDate(2001, 1, 1), QTime(0, 0, 1), Qt::UTC)};
        const QByteArray file = written(list + list + QVariantList{97U, 97ULL});
        // The array and each of the seven, which are of seven types.
        QCOMPARE(trailerNumber(file, 8, 8), quint64{8});
    }

    void signAndWidthTellNumbersApart()
    {
        const QVariantList list{-1, std::numeric_limits<qulonglong>::max(), 0.0, -0.0};
        QCOMPARE(trailerNumber(written(list), 8, 8), quint64{5});
    }

    void referencesAreAsWideAsTheObjectsNeed_data()
    {
        QTest::addColumn<int>("texts");
        QTest::addColumn<quint64>("width");
        // One object more is the array.
        QTest::newRow("255 objects") << 254 << quint64{1};
        QTest::newRow("256 objects") << 255 << quint64{2};
        QTest::newRow("65535 objects") << 65534 << quint64{2};
        QTest::newRow("65536 objects") << 65535 << quint64{4};
    }
    void referencesAreAsWideAsTheObjectsNeed()
    {
        QFETCH(int, texts);
        QFETCH(quint64, width);
        const QVariantList list = distinctTexts(texts);
        const QByteArray file = written(list);
        QCOMPARE(trailerNumber(file, 7, 1), width);
        const PropertyListResult result = readPropertyList(file);
        QVERIFY(result.ok());
        QCOMPARE(result.value(), QVariant(list));
    }

    void offsetsAreAsWideAsTheFileNeeds_data()
    {
        QTest::addColumn<qsizetype>("table"); ///< where the table is to begin
        QTest::addColumn<quint64>("width");
        QTest::newRow("255") << qsizetype{255} << quint64{1};
        QTest::newRow("256") << qsizetype{256} << quint64{2};
        QTest::newRow("65535") << qsizetype{65535} << quint64{2};
        QTest::newRow("65536") << qsizetype{65536} << quint64{4};
    }
    void offsetsAreAsWideAsTheFileNeeds()
    {
        QFETCH(qsizetype, table);
        QFETCH(quint64, width);
        // The magic, a marker, a marker of the count, and the count.
        const qsizetype size = table - 8 - 2 - (table < 300 ? 1 : 2);
        const QByteArray file = written(QByteArray(size, 'x'));
        QCOMPARE(trailerNumber(file, 24, 8), static_cast<quint64>(table));
        QCOMPARE(trailerNumber(file, 6, 1), width);
        QCOMPARE(readPropertyList(file).value(), QVariant(QByteArray(size, 'x')));
    }

    void refused_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QVariant &value, const char *text) {
            QTest::newRow(name) << value << QString::fromLatin1(text);
        };
        row("nothing", QVariant(), "a value of the type \"none\" cannot be in it");
        row("another type", QVariant(QSize()), "a value of the type \"QSize\" cannot be in it");
        row("in an array", QVariantList{QVariant()},
            "a value of the type \"none\" cannot be in it");
        row("a lone surrogate", QString(QChar(0xd83d)), "a text is no valid UTF-16");
        row("as a key", QVariantMap{{QString(QChar(0xde00)), 1}}, "a text is no valid UTF-16");
        row("no date", QDateTime(), "a date is out of range");
        row("the year 0", QDateTime(QDate(-1, 12, 31), QTime(23, 59, 59, 999), Qt::UTC),
            "a date is out of range");
        row("the year 10000", QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC),
            "a date is out of range");
    }
    void refused()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, text);
        QCOMPARE(errorOf(value), text);
    }

    void whatAReaderWouldRefuseIsNotWritten()
    {
        QVariant nested = QVariantList();
        for (int depth = 1; depth < 64; ++depth)
            nested = QVariantList{nested};
        QVERIFY(readPropertyList(written(nested)).ok());
        QCOMPARE(errorOf(QVariantList{nested}),
                 QStringLiteral("too many containers within each other"));

        PropertyListLimits limits;
        limits.values = 5;
        QCOMPARE(errorOf(distinctTexts(4), limits), QStringLiteral("was written"));
        QCOMPARE(errorOf(distinctTexts(5), limits), QStringLiteral("too many or too large values"));
        limits = {};
        limits.contentSize = 20;
        const QVariantList shared{QByteArray(10, 'x'), QByteArray(10, 'x')};
        QCOMPARE(errorOf(shared, limits), QStringLiteral("was written"));
        limits.contentSize = 19;
        QCOMPARE(errorOf(shared, limits), QStringLiteral("too many or too large values"));
        limits = {};
        limits.fileSize = written(shared).size();
        QCOMPARE(errorOf(shared, limits), QStringLiteral("was written"));
        --limits.fileSize;
        QCOMPARE(errorOf(shared, limits), QStringLiteral("the file is too large"));
    }

    void aDictionaryKeepsItsOrderAndReplacesInPlace()
    {
        PropertyListDictionary dictionary{{QStringLiteral("z"), 1}, {QStringLiteral("a"), 2}};
        dictionary.insert({{QStringLiteral("m"), 3}, {QStringLiteral("z"), 4}});
        const PropertyListDictionary expected{
            {QStringLiteral("z"), 4}, {QStringLiteral("a"), 2}, {QStringLiteral("m"), 3}};
        QCOMPARE(dictionary, expected);
        const QByteArray file = bytesOf(writeBinaryPropertyList(dictionary));
        const auto read = readBinaryPropertyListDictionary(viewOf(file));
        QVERIFY(read.ok());
        QStringList keys;
        for (const auto &[key, value] : read.value())
            keys.append(key);
        QCOMPARE(keys,
                 (QStringList{QStringLiteral("z"), QStringLiteral("a"), QStringLiteral("m")}));
    }

    void dataIsReadAsAViewThatKeepsItsBufferAlive()
    {
        const auto buffer = std::make_shared<QByteArray>(
            written(QVariantMap{{QStringLiteral("k"), QByteArray("key")}}));
        const std::weak_ptr<const QByteArray> watch = buffer;
        const auto [first, last] =
            std::pair(buffer->constData(), buffer->constData() + buffer->size());
        std::optional<PropertyListData> data;
        {
            PropertyListData contents = viewOf(*buffer);
            contents.owner = buffer;
            const auto read = readBinaryPropertyListDictionary(contents);
            QVERIFY(read.ok());
            data = read.value().data(QStringLiteral("k"));
        }
        QVERIFY(data);
        const auto *bytes = reinterpret_cast<const char *>(data->bytes.data());
        QVERIFY(bytes > first && bytes < last);
        QCOMPARE(QByteArray(bytes, static_cast<qsizetype>(data->bytes.size())), QByteArray("key"));
        QCOMPARE(watch.use_count(), 2L);
        data.reset();
        QCOMPARE(watch.use_count(), 1L);
    }

    void whatIsNoDictionaryIsRefused()
    {
        const auto errorOfFile = [](const QByteArray &file) {
            const auto result = readBinaryPropertyListDictionary(viewOf(file));
            return result ? QStringLiteral("was read") : result.error().text;
        };
        QCOMPARE(errorOfFile(written(QVariantList())), QStringLiteral("it holds no dictionary"));
        QCOMPARE(errorOfFile("<plist><dict/></plist>"),
                 QStringLiteral("not a binary property list of version 00"));
        QCOMPARE(errorOfFile(written(QVariantMap()).chopped(1)),
                 QStringLiteral("the trailer is invalid"));
        QCOMPARE(errorOfFile(QByteArray()),
                 QStringLiteral("not a binary property list of version 00"));
        QCOMPARE(errorOfFile(QByteArray(qsizetype{8} * 1024 * 1024 + 1, 'x')),
                 QStringLiteral("the file is too large"));
    }

    void aKeyThatComesTwiceHasItsLastValue()
    {
        const QByteArray file = "bplist00" + hex("d2 01 01 02 03 5161 1001 1002 080d0f11") +
                                hex("000000000000 01 01 0000000000000004 0000000000000000"
                                    "0000000000000013");
        const auto read = readBinaryPropertyListDictionary(viewOf(file));
        QVERIFY(read.ok());
        QCOMPARE(read.value(),
                 (PropertyListDictionary{{QStringLiteral("a"), QVariant(qlonglong{2})}}));
    }

    // Of a file that a writer was still at, only the beginning is there.
    void noBeginningOfAFileIsRead()
    {
        QVariantMap map;
        for (int i = 0; i < 60; ++i)
            map.insert(QStringLiteral("Setting.%1").arg(i),
                       QStringLiteral("bplist00 text %1").arg(i));
        const QByteArray file = written(map);
        for (qsizetype size = 0; size < file.size(); ++size)
            QVERIFY(!readBinaryPropertyListDictionary(viewOf(file.first(size))).ok());
        QVERIFY(readBinaryPropertyListDictionary(viewOf(file)).ok());
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListWriter)
#include "tst_PropertyListWriter.moc"
