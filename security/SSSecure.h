#pragma once

#include "security/SSSecureMemory.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// Wiping of plain buffers, the fixed-size Base32 form of the offline reset codes, and two small
/// byte functions. All are pure but for their log lines; any thread.
namespace SSSecure {

/// A plain byte buffer in the storage for secrets: what it gives up is wiped. A copy is a copy of
/// the secret.
using Bytes = std::vector<std::byte, SSSecureAllocator<std::byte>>;

/// The bytes of `data`, valid as long as it is.
[[nodiscard]] std::span<const std::byte> bytes(const QByteArray &data);

/// Overwrites every byte with zero by stores that the compiler keeps. The length stays.
void secureFree(std::span<std::byte> bytes);
void secureFree(Bytes &data);
/// The storage is wiped in place, so everybody who shares it reads zeros as well. Storage that is
/// not the array's own (a literal, fromRawData) is left to its owner: `data` gets zeros of its own.
void secureFree(QByteArray &data);
/// As for a byte array, for a text that held a secret.
void secureFree(QString &text);

/// Whether both hold the same bytes. Takes as long for a first byte that differs as for a last one.
[[nodiscard]] bool isEqual(std::span<const std::byte> first, std::span<const std::byte> second);

/// The options of base32EncodedString: a dash before every fourth character.
inline constexpr std::uint32_t base32InsertDashes = 1;

/// The 32 characters of exactly 20 bytes, 39 with dashes; any other number of bytes gives none. The
/// text holds what the bytes held: wipe it with secureFree() if that is a secret.
[[nodiscard]] std::optional<QString> base32EncodedString(std::span<const std::byte> data,
                                                         std::uint32_t options);

/// The 20 bytes of a dashed text of 39 characters, in upper or lower case; none for anything else.
/// The undashed form is not accepted.
[[nodiscard]] std::optional<Bytes> initWithBase32EncodedString(const std::optional<QString> &text);

/// Reverses `count` bytes in place.
void reverseBytes(std::byte *bytes, std::size_t count);

/// The 32-bit FNV-1 hash; the offset basis for a count of zero or less.
[[nodiscard]] std::uint32_t fnv1Hash(const std::byte *bytes, std::ptrdiff_t count);

} // namespace SSSecure
