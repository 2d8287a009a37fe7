#include "security/SSUtf16.h"

#include <QTest>

#include <array>

/// Against an example of RFC 2781, section 5: U+12345 and "=Ra" in UTF-16LE.
class tst_SSUtf16 final : public QObject
{
    Q_OBJECT
    static constexpr std::array bytes{
        std::byte{0x08}, std::byte{0xD8}, std::byte{0x45}, std::byte{0xDF}, std::byte{0x3D},
        std::byte{0x00}, std::byte{0x52}, std::byte{0x00}, std::byte{0x61}, std::byte{0x00}};

private Q_SLOTS:
    void textOfBytes()
    {
        const auto text = SSUtf16::decoded(bytes);
        QVERIFY(text);
        QCOMPARE(std::u16string_view(text->data(), text->size()), u"\xD808\xDF45=Ra");
    }

    void bytesOfText()
    {
        std::array<std::byte, 10> encoded{};
        SSUtf16::encode(u"\xD808\xDF45=Ra", encoded);
        QVERIFY(encoded == bytes);
    }

    void noBytesAreTheEmptyText()
    {
        const auto text = SSUtf16::decoded({});
        QVERIFY(text);
        QVERIFY(text->empty());
    }

    void halfACharacterIsRefused()
    {
        QVERIFY(!SSUtf16::decoded(std::span(bytes).first(1)));
        QVERIFY(!SSUtf16::decoded(std::span(bytes).first(5)));
    }
};

QTEST_APPLESS_MAIN(tst_SSUtf16)
#include "tst_SSUtf16.moc"
