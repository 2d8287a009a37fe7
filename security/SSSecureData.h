#pragma once

#include "security/SSSecure.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

class SSMutableSecureData;

/// How Base64 text is read. Strict takes whole groups of the standard alphabet, filled up with "=",
/// and nothing else; the other leaves out what the alphabet does not have.
enum class SSBase64Decoding : std::uint32_t { Strict = 0, IgnoreUnknownCharacters = 1 };

/// How Base64 text is broken into lines; not at all without a line length. With a length and
/// neither end the lines end in CR LF.
namespace SSBase64Encoding {
inline constexpr std::uint32_t None = 0;
inline constexpr std::uint32_t LineLength64 = 1;
inline constexpr std::uint32_t LineLength76 = 2;
inline constexpr std::uint32_t EndLineWithCarriageReturn = 16;
inline constexpr std::uint32_t EndLineWithLineFeed = 32;
} // namespace SSBase64Encoding

/// Bytes that nobody changes and that are overwritten with zeros when the object is released.
/// Passwords are held as UTF-16 little-endian text. Never copied implicitly; readable from any
/// thread while nobody calls secureFree().
class SSSecureData
{
    /// Keeps construction to the operations below.
    struct Key
    {
        explicit Key() = default;
    };

public:
    SSSecureData(Key, std::shared_ptr<SSSecure::Bytes> adopted);
    ~SSSecureData();
    SSSecureData(const SSSecureData &) = delete;
    SSSecureData &operator=(const SSSecureData &) = delete;

    /// A copy of the bytes; the caller's stay as they are and are the caller's to wipe. Null for
    /// none.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    dataWithData(std::optional<std::span<const std::byte>> data);
    [[nodiscard]] static std::shared_ptr<SSSecureData> dataWithBytes(const std::byte *bytes,
                                                                     std::size_t length);
    /// A copy; null for null.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    dataWithMutableSecureData(const SSMutableSecureData *data);

    /// 128 random bytes. Null, with a log line, when the generator fails.
    [[nodiscard]] static std::shared_ptr<SSSecureData> sessionKeyRandomGenerated();
    /// 32 random bytes, likewise.
    [[nodiscard]] static std::shared_ptr<SSSecureData> aesKeyRandomGenerated();

    /// Adopts the buffer without copying. Whoever else shares it sees it wiped when this object is
    /// released, and must not change its size before. A null buffer gives an object of no bytes.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    initWithData(std::shared_ptr<SSSecure::Bytes> data);
    /// As above for a buffer of one owner: its storage moves, it is not copied.
    [[nodiscard]] static std::shared_ptr<SSSecureData> initWithData(SSSecure::Bytes &&data);

    /// The bytes of a Base64 text. Never null: invalid or absent text gives an object of no bytes.
    /// The text stays the caller's to wipe.
    [[nodiscard]] static std::shared_ptr<SSSecureData>
    initWithBase64EncodedString(const std::optional<QString> &text,
                                SSBase64Decoding options = SSBase64Decoding::Strict);

    /// The bytes as Base64 text, `options` from SSBase64Encoding. The text is not wiped by itself:
    /// call SSSecure::secureFree() on it when it held a secret.
    [[nodiscard]] QString base64EncodedString(std::uint32_t options = SSBase64Encoding::None) const;

    /// Whether both hold the same bytes; false for null.
    [[nodiscard]] bool isEqualToSecureData(const SSSecureData *other) const;

    [[nodiscard]] std::size_t length() const { return m_data ? m_data->size() : 0; }
    [[nodiscard]] const std::byte *bytes() const { return m_data ? m_data->data() : nullptr; }
    /// Valid as long as this object.
    [[nodiscard]] std::span<const std::byte> data() const { return {bytes(), length()}; }

    /// Overwrites the bytes with zeros now; the length stays.
    void secureFree();

private:
    std::shared_ptr<SSSecure::Bytes> m_data;
};
