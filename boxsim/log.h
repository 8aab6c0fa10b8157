#pragma once

#include "faults.h"
#include "jsonlines.h"
#include "options.h"
#include "process.h"
#include "text.h"

namespace boxsim {

/// What boxsim tells: as text, where standard output shows what is asked of the car and standard error has
/// messages, log and bytes; or everything on standard output as JSON, of which messages go to standard error
/// too.
class Log
{
public:
    Log(StandardOutput& output, const Options& options);
    ~Log();
    Q_DISABLE_COPY(Log)

    /// The line is ready; the head unit opens @p path.
    void ready(const QString& path);
    /// What the head unit asks of the car, or a scenario shows.
    void show(const QString& text);
    /// What the box does, for the log.
    void log(const QString& text);
    /// Bytes of the line in @p direction, "rx" or "tx" as the box sees it, with what they mean to the box.
    void bytes(const QString& direction, const QByteArray& bytes, const QString& meaning);
    /// A statement is run.
    void statement(const QString& text);
    /// A fault has hit something.
    void fault(const Hit& hit);
    /// The typed @p statement of the input's @p line was run and shows @p shown; or there is no such one, and
    /// @p error tells why.
    void answer(const QString& statement, int line, const QString& shown, const QString& error);

private:
    void log(const QString& text, const QJsonObject& keys) const;
    void print(const QJsonObject& keys) { m_output.print(m_lines.line(keys)); }

    StandardOutput& m_output;
    const Options& m_options;
    JsonLines m_lines;
    protocol::Narrator m_toBox; // what the trace says of the bytes
    protocol::Narrator m_toHeadUnit;
};

} // namespace boxsim
