#pragma once

#include <QtGlobal>

#include <string_view>

/// The layout of a binary property list: the magic, the objects, the table of their offsets, and a
/// trailer that says where the table and the top object are. All numbers are big-endian.
namespace BinaryPropertyList {

inline constexpr std::string_view magic = "bplist00";

/// The high four bits of an object's first byte; the low four are a count, the size's logarithm,
/// or which of the simple values it is.
enum class Kind : quint8 {
    Simple = 0x0,
    Integer = 0x1,
    Real = 0x2,
    Date = 0x3,
    Data = 0x4,
    AsciiString = 0x5,
    Utf16String = 0x6,
    Array = 0xa,
    Dictionary = 0xd,
};

enum class Simple : quint8 { False = 0x8, True = 0x9 };

/// A count of this value stands for an integer object that follows.
inline constexpr quint8 countFollows = 0xf;

inline constexpr qsizetype trailerSize = 32;
/// Where the trailer's fields lie in it.
inline constexpr qsizetype offsetSizeAt = 6;
inline constexpr qsizetype referenceSizeAt = 7;
inline constexpr qsizetype objectCountAt = 8;
inline constexpr qsizetype topObjectAt = 16;
inline constexpr qsizetype offsetTableAt = 24;

/// Dates count seconds from 2001-01-01T00:00:00Z.
inline constexpr qint64 epochOfDates = 978'307'200;
/// Years 1 to 9999, in seconds of that count.
inline constexpr double firstDate = -63'113'904'000.0;
inline constexpr double lastDate = 252'423'993'599.999;

} // namespace BinaryPropertyList
