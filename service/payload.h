#pragma once

#include <QByteArray>

// How decoders read a payload and keep what they find, and how data bytes are put together.

namespace canservice {

/// Byte @p index as an unsigned value, 0 to 255. @p index must lie within @p bytes.
inline int byteAt(const QByteArray& bytes, int index)
{
    return static_cast<unsigned char>(bytes.at(index));
}

/// The big-endian value of the bytes at @p index and @p index + 1, 0 to 65535. Both must lie within @p bytes.
inline int wordAt(const QByteArray& bytes, int index)
{
    return byteAt(bytes, index) << 8 | byteAt(bytes, index + 1);
}

/// The low bytes of @p values.
template<typename... T> QByteArray bytesOf(T... values)
{
    const char bytes[] = {static_cast<char>(values)...};
    return QByteArray(bytes, sizeof bytes);
}

/// The two-byte value that stands for "no value".
constexpr int NoValue = 0xFFFF;

/// @p raw tenths as a number. Multiplied in double and cut back to float: the host's texts round accordingly.
inline float tenths(int raw)
{
    return static_cast<float>(static_cast<double>(static_cast<float>(raw)) * 0.1);
}

/// Stores @p value in @p field if it differs. @return whether it did, that is whether to announce it.
template<typename T> bool update(T& field, const T& value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

/// Stores a copy of @p value of its own: a payload's memory is the parser's and used again.
inline void keep(QByteArray& field, const QByteArray& value)
{
    field = QByteArray(value.constData(), value.size());
}

/// The same as update() for all other types.
inline bool update(QByteArray& field, const QByteArray& value)
{
    if (field == value)
        return false;
    keep(field, value);
    return true;
}

} // namespace canservice
