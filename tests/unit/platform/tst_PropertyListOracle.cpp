#include "platform/PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>
#include <QTest>

#include <array>
#include <bit>
#include <cstdio>

/// The readers and the writer against Python's plistlib.
class tst_PropertyListOracle : public QObject
{
    Q_OBJECT

    /// What `actual` differs in from the tagged value; empty when in nothing.
    static QString difference(const QVariant &actual, const QJsonObject &expected)
    {
        const QString tag = expected.begin().key();
        const QJsonValue value = expected.begin().value();
        const auto check = [&](bool same) {
            return same ? QString()
                        : QStringLiteral("%1: expected %2, got %3 (%4)")
                              .arg(tag, value.toVariant().toString(), actual.toString(),
                                   QLatin1String(actual.typeName()));
        };
        const int type = actual.typeId();
        if (tag == QLatin1String("bool"))
            return check(type == QMetaType::Bool && actual.toBool() == value.toBool());
        if (tag == QLatin1String("string"))
            return check(type == QMetaType::QString && actual.toString() == value.toString());
        if (tag == QLatin1String("integer")) {
            const QString digits = value.toString();
            bool fits = false;
            static_cast<void>(digits.toLongLong(&fits));
            return check(type == (fits ? QMetaType::LongLong : QMetaType::ULongLong) &&
                         actual.toString() == digits);
        }
        if (tag == QLatin1String("real")) {
            return check(type == QMetaType::Double && std::bit_cast<quint64>(actual.toDouble()) ==
                                                          value.toString().toULongLong());
        }
        if (tag == QLatin1String("date")) {
            const QDateTime date = actual.toDateTime();
            return check(type == QMetaType::QDateTime && date.timeSpec() == Qt::UTC &&
                         date.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) == value.toString());
        }
        if (tag == QLatin1String("data")) {
            return check(type == QMetaType::QByteArray &&
                         QString::fromLatin1(actual.toByteArray().toHex()) == value.toString());
        }
        if (tag == QLatin1String("array"))
            return check(type == QMetaType::QVariantList) + inArray(actual, value.toArray());
        return check(type == QMetaType::QVariantMap) + inDictionary(actual, value.toArray());
    }

    static QString inArray(const QVariant &actual, const QJsonArray &expected)
    {
        const QVariantList list = actual.toList();
        if (list.size() != expected.size())
            return QStringLiteral("array of %1").arg(list.size());
        for (qsizetype i = 0; i < list.size(); ++i) {
            const QString inner = difference(list.at(i), expected.at(i).toObject());
            if (!inner.isEmpty())
                return inner;
        }
        return {};
    }

    static QString inDictionary(const QVariant &actual, const QJsonArray &expected)
    {
        const QVariantMap map = actual.toMap();
        if (map.size() != expected.size())
            return QStringLiteral("dictionary of %1").arg(map.size());
        for (const QJsonValue &entry : expected) {
            const QString key = entry[0].toString();
            if (!map.contains(key))
                return QStringLiteral("no key ") + key;
            const QString inner = difference(map.value(key), entry[1].toObject());
            if (!inner.isEmpty())
                return inner;
        }
        return {};
    }

    /// The tagged value, dictionaries in their order.
    static QVariant valueOf(const QJsonObject &tagged)
    {
        const QString tag = tagged.begin().key();
        const QJsonValue value = tagged.begin().value();
        if (tag == QLatin1String("bool"))
            return value.toBool();
        if (tag == QLatin1String("integer")) {
            bool fits = false;
            const qlonglong number = value.toString().toLongLong(&fits);
            return fits ? QVariant(number) : QVariant(value.toString().toULongLong());
        }
        if (tag == QLatin1String("real"))
            return std::bit_cast<double>(value.toString().toULongLong());
        if (tag == QLatin1String("date")) {
            QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODate);
            date.setTimeSpec(Qt::UTC);
            return date;
        }
        if (tag == QLatin1String("data"))
            return QByteArray::fromHex(value.toString().toLatin1());
        if (tag == QLatin1String("array")) {
            QVariantList list;
            for (const QJsonValue &entry : value.toArray())
                list.append(valueOf(entry.toObject()));
            return list;
        }
        if (tag == QLatin1String("dict")) {
            PropertyListDictionary dictionary;
            for (const QJsonValue &entry : value.toArray())
                dictionary.insert(entry[0].toString(), valueOf(entry[1].toObject()));
            return QVariant::fromValue(dictionary);
        }
        return value.toString();
    }

    /// The file of a value; empty, with a message, when it was refused.
    template<typename Value>
    static QByteArray written(const Value &value)
    {
        const auto result = writeBinaryPropertyList(value);
        if (!result) {
            qWarning("%s", qUtf8Printable(result.error().text));
            return {};
        }
        return {reinterpret_cast<const char *>(result.value().data()),
                static_cast<qsizetype>(result.value().size())};
    }

    static PropertyListData viewOf(const QByteArray &bytes)
    {
        return {std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))),
                nullptr};
    }

    /// `count` dictionaries made by Python, in its files and as tagged values.
    static QJsonArray generated(int count)
    {
        const QString script = QFINDTESTDATA("generate_property_lists.py");
        return QJsonDocument::fromJson(outputOf("python3 '" + QFile::encodeName(script) + "' " +
                                                QByteArray::number(count)))
            .array();
    }

    /// What `command` prints. Not by QProcess: the thread sanitizer does not survive its clone().
    static QByteArray outputOf(const QByteArray &command)
    {
        QByteArray result;
        FILE *pipe = ::popen(command.constData(), "r");
        std::array<char, 65536> buffer{};
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
            result.append(buffer.data(), static_cast<qsizetype>(count));
        return ::pclose(pipe) == 0 ? result : QByteArray("failed");
    }

private Q_SLOTS:
    void bothFormsReadAsPlistlibWroteThem()
    {
        const QJsonArray lists = generated(3000);
        QCOMPARE(lists.size(), 3000);
        qsizetype large = 0;
        for (const QJsonValue &entry : lists) {
            const QJsonObject expected = entry[QLatin1String("value")].toObject();
            for (const QString &form : {QStringLiteral("binary"), QStringLiteral("xml")}) {
                const QByteArray file = QByteArray::fromBase64(entry[form].toString().toLatin1());
                large += file.size() > 2048 ? 1 : 0;
                const PropertyListResult result = readPropertyList(file);
                QVERIFY2(result.ok(), result.ok() ? "" : qUtf8Printable(result.error().text));
                const QString found = difference(result.value(), expected);
                QVERIFY2(found.isEmpty(), qUtf8Printable(form + QLatin1String(": ") + found));
            }
        }
        QVERIFY2(large > 500, "the lists are not the wide and deep ones that were meant");
    }

    // From the tagged values, from what the reader gives of plistlib's file, and from the sorted
    // dictionaries of the other reader.
    void plistlibReadsWhatIsWrittenAndWritesTheSameBytes()
    {
        const QJsonArray lists = generated(3000);
        QCOMPARE(lists.size(), 3000);
        QTemporaryFile file;
        QVERIFY(file.open());
        for (const QJsonValue &entry : lists) {
            const QByteArray fromPython =
                QByteArray::fromBase64(entry[QLatin1String("binary")].toString().toLatin1());
            const QVariant value = valueOf(entry[QLatin1String("value")].toObject());
            const QByteArray ordered = written(value);
            QVERIFY(!ordered.isEmpty());
            const auto inOrder = readBinaryPropertyListDictionary(viewOf(fromPython));
            QVERIFY2(inOrder.ok(), inOrder.ok() ? "" : qUtf8Printable(inOrder.error().text));
            QCOMPARE(written(inOrder.value()), ordered);
            const PropertyListResult sorted = readPropertyList(fromPython);
            QVERIFY(sorted.ok());
            file.write(ordered.toBase64() + ' ' + written(sorted.value()).toBase64() + '\n');
        }
        file.close();
        const QString script = QFINDTESTDATA("check_property_lists.py");
        QCOMPARE(outputOf("python3 '" + QFile::encodeName(script) + "' 3000 '" +
                          QFile::encodeName(file.fileName()) + "' 2>&1"),
                 QByteArray("3000\n"));
    }

    void plistlibReadsTheXmlThatIsWritten()
    {
        const QJsonArray lists = generated(1500);
        QCOMPARE(lists.size(), 1500);
        QTemporaryFile file;
        QVERIFY(file.open());
        for (const QJsonValue &entry : lists) {
            const QJsonObject expected = entry[QLatin1String("value")].toObject();
            const auto xml = writeXmlPropertyList(valueOf(expected));
            QVERIFY2(xml.ok(), xml.ok() ? "" : qUtf8Printable(xml.error().text));
            const QByteArray bytes(reinterpret_cast<const char *>(xml.value().data()),
                                   static_cast<qsizetype>(xml.value().size()));
            const PropertyListResult again = readXmlPropertyList(bytes);
            QVERIFY2(again.ok(), again.ok() ? "" : qUtf8Printable(again.error().text));
            const QString found = difference(again.value(), expected);
            QVERIFY2(found.isEmpty(), qUtf8Printable(found));
            file.write(bytes.toBase64() + '\n');
        }
        file.close();
        const QString script = QFINDTESTDATA("check_xml_property_lists.py");
        QCOMPARE(outputOf("python3 '" + QFile::encodeName(script) + "' 1500 '" +
                          QFile::encodeName(file.fileName()) + "' 2>&1"),
                 QByteArray("1500\n"));
    }
};

QTEST_GUILESS_MAIN(tst_PropertyListOracle)
#include "tst_PropertyListOracle.moc"
