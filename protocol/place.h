#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace protocol {

/// One step into a JSON document: a key of an object or, where that is empty, an index of an array.
struct JsonStep
{
    QString key;
    int index = 0;
};

using JsonPath = QVector<JsonStep>;

/// "frames[3].fields[2].bits".
QString pathText(const JsonPath& path);

/// Where the value at @p path begins in @p json, a valid document; as near as it gets where there is no such
/// value.
int offsetOf(const QByteArray& json, const JsonPath& path);

/// "LINE:COLUMN" of the byte at @p offset; both count from 1, columns in characters.
QString lineAndColumn(const QByteArray& json, int offset);

} // namespace protocol
