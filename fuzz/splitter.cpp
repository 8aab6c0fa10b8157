// The splitter, against what the head unit's parser must answer: every byte is in one unit, in the order of
// the bytes, and good and bad frames are those that are acknowledged and rejected.

#include "splitter.h"
#include "session.h"

using namespace protocol;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    Reference reference;
    QByteArray answers;
    QByteArray units;
    Splitter splitter(Splitter::Receiver::HeadUnit, [&](const Unit& unit) {
        if (unit.size == 0 || unit.offset != static_cast<uint64_t>(units.size()))
            qFatal("wrong place of a unit");
        units.append(reinterpret_cast<const char*>(unit.bytes), static_cast<int>(unit.size));
        if (unit.kind == UnitKind::Frame || unit.kind == UnitKind::BadFrame)
            answers += unit.kind == UnitKind::Frame ? '\xFF' : '\xF0';
    });
    QByteArray bytes;
    for (qint64 now = 0; !input.atEnd(); now += 4 * input.byte()) {
        const QByteArray chunk = input.bytes(input.byte());
        if (chunk.isEmpty())
            continue;
        bytes += chunk;
        answers.clear();
        reference.passTime(now);
        splitter.feed(reinterpret_cast<const uint8_t*>(chunk.constData()), static_cast<size_t>(chunk.size()),
                      1000 * now);
        if (answers != reference.receive(chunk, now))
            qFatal("wrong frames: %s", answers.toHex().constData());
    }
    splitter.finish();
    if (units != bytes)
        qFatal("wrong bytes: %s", units.toHex().constData());
    return 0;
}
