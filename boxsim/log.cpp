#include "log.h"

#include "clock.h"

using namespace protocol;

namespace boxsim {

Log::Log(StandardOutput& output, bool json)
    : m_output(output)
    , m_json(json)
    , m_lines({}, dateOf({}))
    , m_toBox(Description::standard(), Splitter::Receiver::Box, Decoder::NoCarModel)
    , m_toHeadUnit(Description::standard(), Splitter::Receiver::HeadUnit, Decoder::NoCarModel)
{
}

void Log::ready(const QString& path)
{
    if (m_json)
        return print({{"program", "boxsim"}, {"version", BOXSIM_VERSION}, {"path", path}});
    m_output.print(path);
    note("ready");
}

void Log::show(const QString& text)
{
    if (m_json)
        return print({{"box", text}});
    m_output.print(text);
}

void Log::note(const QString& text)
{
    if (m_json)
        return print({{"note", text}});
    printLine(stderr, stamp(now()) + ' ' + text);
}

void Log::error(const QString& text)
{
    printLine(stderr, text);
    if (m_json)
        print({{"note", text}});
}

void Log::bytes(const QString& direction, const QByteArray& bytes, const QString& meaning)
{
    Narrator& narrator = direction == "rx" ? m_toBox : m_toHeadUnit;
    if (m_json) {
        const QString hex = bytes.toHex().toUpper();
        print({{"chunk", hex}, {"direction", direction}, {"meaning", meaning}});
        for (const std::string& keys : narrator.tellKeys(bytes, now(), direction.toStdString()))
            m_output.print(m_lines.line(QByteArray::fromStdString(keys)));
        return;
    }
    const QString told = narrator.tell(bytes, now());
    const bool isAnswer = bytes.size() == 1;
    note(direction + ' ' + bytes.toHex(' ').toUpper() + "  " + meaning +
         (isAnswer || told.isEmpty() ? "" : "  " + told));
}

void Log::statement(const QString& text)
{
    if (m_json)
        return print({{"statement", text}});
    note("statement: " + text);
}

void Log::fault(const Hit& hit)
{
    if (m_json)
        return print(hit.keys());
    note(hit.text());
}

void Log::answer(const QString& statement, int line, const QString& shown, const QString& error)
{
    if (m_json) {
        QJsonObject keys;
        if (!error.isEmpty())
            keys["refused"] = error;
        else if (!shown.isEmpty())
            keys["text"] = shown;
        return print(answerTo(statement, line, keys));
    }
    if (!error.isEmpty())
        printLine(stderr, QString("stdin:%1: %2").arg(line).arg(error));
    if (!shown.isEmpty())
        m_output.print(shown);
}

} // namespace boxsim
