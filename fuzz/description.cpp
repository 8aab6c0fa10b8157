// The reader of descriptions: what is no description is refused in printable words, with line and column.
// What is one decodes payloads of any length, nothing behind which is read, and can be written as DBC file
// and dissector.

#include "dbc.h"
#include "dissector.h"
#include "session.h"
#include "text.h"

#include <QRegularExpression>

using namespace protocol;

// Qt's JSON parser leaks where an object has a key twice. Its frames in a report have neither names nor
// callers.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libQt5Core\n";
}

namespace {

void decode(const Description& description)
{
    const Decoder decoder(description);
    for (const Frame& frame : description.frames()) {
        for (const size_t size : {0U, 1U, 2U, 3U, 255U}) {
            const std::vector<uint8_t> payload(size, static_cast<uint8_t>(0x40 + size));
            for (const Field& field : frame.fields) {
                std::string text;
                appendField(text, decoder.value(field, payload.data(), size));
                if (text.empty() || field.differs(payload.data(), size, payload.data(), size))
                    qFatal("wrong field: %s", text.c_str());
            }
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QRegularExpression placed("\\A:([1-9]\\d*):[1-9]\\d*: [^\\p{Cc}\\p{Cs}]+\\z");
    const QByteArray json(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QString error;
    const auto description = Description::parse(json, {}, &error);
    if (description) {
        decode(*description);
        writeDbc(*description, Decoder::NoCarModel);
        writeDissector(*description);
    }
    const auto place = placed.match(error);
    if (description ? !error.isEmpty()
                    : place.captured(1).toInt() - 1 > json.count('\n') || !place.hasMatch())
        qFatal("wrong message: %s", qPrintable(error));
    return 0;
}
