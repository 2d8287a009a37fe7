#include "security/SSMutableSecureData.h"
#include "security/SSSecureData.h"

#include <QTest>

#include <type_traits>

static_assert(!std::is_copy_constructible_v<SSMutableSecureData>);
static_assert(!std::is_copy_assignable_v<SSMutableSecureData>);

class tst_SSMutableSecureData : public QObject
{
    Q_OBJECT

    static SSSecure::Bytes secret() { return {std::byte{1}, std::byte{2}, std::byte{3}}; }
    static SSSecure::Bytes contents(const SSMutableSecureData &data)
    {
        return {data.data().begin(), data.data().end()};
    }

private Q_SLOTS:
    void dataWithLengthHoldsZeros()
    {
        const auto data = SSMutableSecureData::dataWithLength(5);
        QCOMPARE(data->length(), std::size_t{5});
        QCOMPARE(contents(*data), SSSecure::Bytes(5));
        QCOMPARE(SSMutableSecureData::dataWithLength(0)->length(), std::size_t{0});
    }

    void bytesCanBeWritten()
    {
        const auto data = SSMutableSecureData::dataWithLength(3);
        data->mutableBytes()[0] = std::byte{1};
        data->mutableData()[1] = std::byte{2};
        data->mutableData()[2] = std::byte{3};
        QCOMPARE(contents(*data), secret());
    }

    void initWithDataCopies()
    {
        const SSSecure::Bytes own = secret();
        auto data = SSMutableSecureData::initWithData(own);
        QCOMPARE(contents(*data), own);
        data->secureFree();
        QCOMPARE(own, secret());
        QVERIFY(!SSMutableSecureData::initWithData(std::nullopt));
        QVERIFY(SSMutableSecureData::initWithData(std::span<const std::byte>()));
    }

    void dataWithSecureDataCopies()
    {
        const auto source = SSSecureData::initWithData(secret());
        auto data = SSMutableSecureData::dataWithSecureData(source.get());
        QCOMPARE(contents(*data), secret());
        data->mutableBytes()[0] = std::byte{9};
        data.reset();
        QCOMPARE(source->bytes()[0], std::byte{1});
        QVERIFY(!SSMutableSecureData::dataWithSecureData(nullptr));
    }

    void initWithMutableDataAdoptsAndWipesTheBuffer()
    {
        const auto buffer = std::make_shared<SSSecure::Bytes>(secret());
        auto data = SSMutableSecureData::initWithMutableData(buffer);
        QCOMPARE(data->mutableBytes(), buffer->data());
        data.reset();
        QCOMPARE(*buffer, SSSecure::Bytes(3));
        QVERIFY(!SSMutableSecureData::initWithMutableData(nullptr));
    }

    void secureFreeKeepsTheLength()
    {
        const auto data = SSMutableSecureData::initWithData(secret());
        data->secureFree();
        QCOMPARE(contents(*data), SSSecure::Bytes(3));
        data->mutableBytes()[2] = std::byte{7};
        QCOMPARE(data->data()[2], std::byte{7});
    }

    void growingFillsUpWithZerosAndCuttingWipes()
    {
        const auto buffer = std::make_shared<SSSecure::Bytes>(secret());
        const auto data = SSMutableSecureData::initWithMutableData(buffer);
        data->setLength(5);
        SSSecure::Bytes expected = secret();
        expected.resize(5);
        QCOMPARE(contents(*data), expected);

        data->setLength(1);
        QCOMPARE(data->length(), std::size_t{1});
        data->setLength(3);
        QCOMPARE(contents(*data), (SSSecure::Bytes{std::byte{1}, std::byte{0}, std::byte{0}}));
    }
};

QTEST_GUILESS_MAIN(tst_SSMutableSecureData)
#include "tst_SSMutableSecureData.moc"
