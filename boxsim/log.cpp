#include "log.h"

#include "clock.h"
#include "note.h"

#include <unistd.h>

using namespace protocol;

namespace boxsim {

Log::Log(StandardOutput& output, const Options& options)
    : m_output(output)
    , m_options(options)
    , m_lines({}, dateOf({}))
    , m_toBox(Description::standard(), Splitter::Receiver::Box, Decoder::NoCarModel)
    , m_toHeadUnit(Description::standard(), Splitter::Receiver::HeadUnit, Decoder::NoCarModel)
{
    if (options.json)
        onTold = [this](const QJsonObject& keys) { print(keys); };
}

Log::~Log()
{
    onTold = [](const QJsonObject&) {};
}

void Log::ready(const QString& path)
{
    if (m_options.json)
        return print({{"program", "boxsim"}, {"version", BOXSIM_VERSION}, {"path", path}});
    m_output.print(path);
    note("the head unit opens " + path + "; type \"help\" for what car and box can do");
}

void Log::show(const QString& text)
{
    if (m_options.json)
        return print({{"box", text}});
    m_output.print(text);
}

void Log::log(const QString& text)
{
    log(text, {{"log", text}, {"level", "info"}});
}

void Log::log(const QString& text, const QJsonObject& keys) const
{
    if (m_options.log)
        tellError(stamp(now()) + ' ' + text, keys);
}

void Log::bytes(const QString& direction, const QByteArray& bytes, const QString& meaning)
{
    if (!m_options.trace)
        return;
    Narrator& narrator = direction == "rx" ? m_toBox : m_toHeadUnit;
    if (m_options.json) {
        const QString hex = bytes.toHex().toUpper();
        print({{"chunk", hex}, {"direction", direction}, {"meaning", meaning}});
        for (const std::string& keys : narrator.tellKeys(bytes, now(), direction.toStdString()))
            m_output.print(m_lines.line(QByteArray::fromStdString(keys)));
        return;
    }
    const QString told = narrator.tell(bytes, now());
    const bool isAnswer = bytes.size() == 1;
    writeError(stamp(now()) + ' ' + direction + ' ' + bytes.toHex(' ').toUpper() + "  " + meaning +
               (isAnswer || told.isEmpty() ? "" : "  " + told));
}

void Log::statement(const QString& text)
{
    log("statement: " + text, {{"statement", text}});
}

void Log::fault(const Hit& hit)
{
    log(hit.text(), hit.keys());
}

void Log::answer(const QString& statement, int line, const QString& shown, const QString& error)
{
    if (m_options.json) {
        QJsonObject keys;
        if (!error.isEmpty())
            keys["refused"] = error;
        else if (!shown.isEmpty())
            keys["text"] = shown;
        return print(answerTo(statement, line, keys));
    }
    static const bool isTyped = isatty(STDIN_FILENO);
    if (!error.isEmpty())
        complain(isTyped ? error : QString("standard input:%1: %2").arg(line).arg(error));
    if (!shown.isEmpty())
        m_output.print(shown);
}

} // namespace boxsim
