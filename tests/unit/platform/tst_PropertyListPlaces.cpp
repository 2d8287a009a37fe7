#include "platform/PropertyListDictionary.h"
#include "platform/PropertyListPlaces.h"

#include <QSet>
#include <QTest>

#include <array>

/// Finding the entries of a dictionary and the objects of a file again.
class tst_PropertyListPlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesOfOneHashAreToldApart();
    void everyPlaceIsFoundHoweverManyThereAre();
    void aCopyHasPlacesOfItsOwn();
    void everyByteOfATextCounts_data();
    void everyByteOfATextCounts();
    void textsHaveFewHashesInCommon();
    void aDictionaryKeepsItsOrderAndReplacesInPlace();
};

void tst_PropertyListPlaces::placesOfOneHashAreToldApart()
{
    PropertyListPlaces places;
    for (qsizetype place = 0; place < 100; ++place)
        places.insert(7, place);
    for (qsizetype place = 0; place < 100; ++place)
        QCOMPARE(places.find(7, [&](qsizetype found) { return found == place; }), place);
    QVERIFY(!places.find(7, [](qsizetype) { return false; }));
    // The same slot of a small table, another hash.
    QVERIFY(!places.find(7 + (1U << 30U), [](qsizetype) { return true; }));
}

void tst_PropertyListPlaces::everyPlaceIsFoundHoweverManyThereAre()
{
    PropertyListPlaces places;
    QVERIFY(!places.find(0, [](qsizetype) { return true; }));
    constexpr quint32 count = 10'000;
    for (quint32 i = 0; i < count; ++i) {
        QVERIFY(!places.find(i * 16, [](qsizetype) { return true; }));
        places.insert(i * 16, i);
        if (i == count / 2)
            places.reserve(3);
    }
    for (quint32 i = 0; i < count; ++i)
        QCOMPARE(places.find(i * 16, [](qsizetype) { return true; }), qsizetype{i});
}

void tst_PropertyListPlaces::aCopyHasPlacesOfItsOwn()
{
    PropertyListPlaces places;
    places.insert(1, 0);
    PropertyListPlaces copy = places;
    copy.insert(2, 1);
    QVERIFY(!places.find(2, [](qsizetype) { return true; }));
    QCOMPARE(copy.find(1, [](qsizetype) { return true; }), 0);
    QCOMPARE(copy.find(2, [](qsizetype) { return true; }), 1);
}

void tst_PropertyListPlaces::everyByteOfATextCounts_data()
{
    QTest::addColumn<qsizetype>("size");
    // Below and above the sizes that are taken at once.
    for (const int size : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 24, 31, 32, 33, 40, 100})
        QTest::addRow("%d bytes", size) << qsizetype{size};
}

void tst_PropertyListPlaces::everyByteOfATextCounts()
{
    QFETCH(const qsizetype, size);
    std::array<std::byte, 101> all{};
    const auto bytes = std::span(all).first(static_cast<std::size_t>(size));
    const quint32 hash = PropertyListPlaces::hashOf(bytes);
    QCOMPARE(PropertyListPlaces::hashOf(bytes), hash);
    // As a number of 32 bits, each of these is another one but once in four thousand million times.
    for (std::byte &byte : bytes) {
        byte = std::byte{1};
        QVERIFY(PropertyListPlaces::hashOf(bytes) != hash);
        byte = std::byte{0};
    }
    QVERIFY(PropertyListPlaces::hashOf(std::span(all).first(bytes.size() + 1)) != hash);
}

void tst_PropertyListPlaces::textsHaveFewHashesInCommon()
{
    QSet<quint32> hashes;
    constexpr int count = 20'000;
    for (int i = 0; i < count; ++i)
        hashes.insert(PropertyListPlaces::hashOf(QStringLiteral("Key.%1").arg(i)));
    // 20,000² / 2³³ = 0.05 are expected.
    QVERIFY2(hashes.size() >= count - 5, qPrintable(QString::number(hashes.size())));
}

void tst_PropertyListPlaces::aDictionaryKeepsItsOrderAndReplacesInPlace()
{
    PropertyListDictionary dictionary;
    QStringList keys;
    for (int i = 0; i < 1000; ++i) {
        keys.append(QString::number((i * 7919) % 1000));
        dictionary.insert(keys.last(), qlonglong{i});
    }
    const PropertyListDictionary before = dictionary;
    dictionary.insert(keys.at(500), QStringLiteral("another"));
    QCOMPARE(dictionary.size(), 1000);
    QStringList inOrder;
    for (const auto &[key, value] : dictionary)
        inOrder.append(key);
    QCOMPARE(inOrder, keys);
    QCOMPARE(dictionary.value(keys.at(500)), QVariant(QStringLiteral("another")));
    QCOMPARE(*before.find(keys.at(500)), QVariant(qlonglong{500}));
    for (int i = 0; i < 1000; ++i) {
        if (i != 500)
            QCOMPARE(*dictionary.find(keys.at(i)), QVariant(qlonglong{i}));
    }
    QCOMPARE(dictionary.find(QStringLiteral("1000")), nullptr);
    QVERIFY(!dictionary.contains(QString()));
}

QTEST_GUILESS_MAIN(tst_PropertyListPlaces)
#include "tst_PropertyListPlaces.moc"
