#include "platform/PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <array>
#include <bit>
#include <cstdio>

/// Both readers against Python's plistlib.
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
        return check(type == QMetaType::QVariantMap) + inDictionary(actual, value.toObject());
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

    static QString inDictionary(const QVariant &actual, const QJsonObject &expected)
    {
        const QVariantMap map = actual.toMap();
        if (map.size() != expected.size())
            return QStringLiteral("dictionary of %1").arg(map.size());
        for (auto it = expected.begin(); it != expected.end(); ++it) {
            if (!map.contains(it.key()))
                return QStringLiteral("no key ") + it.key();
            const QString inner = difference(map.value(it.key()), it.value().toObject());
            if (!inner.isEmpty())
                return inner;
        }
        return {};
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
        const QString script = QFINDTESTDATA("generate_property_lists.py");
        QVERIFY(!script.isEmpty());
        const QJsonArray lists =
            QJsonDocument::fromJson(outputOf("python3 '" + QFile::encodeName(script) + "' 3000"))
                .array();
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
};

QTEST_GUILESS_MAIN(tst_PropertyListOracle)
#include "tst_PropertyListOracle.moc"
