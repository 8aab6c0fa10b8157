#pragma once

#include "carstate.h"
#include "clock.h"
#include "faults.h"
#include "jsonlines.h"
#include "origins.h"

#include <functional>
#include <string>
#include <vector>

/// Puts what canbench has to tell into lines, one an item, for people or as JSON.
class Report
{
public:
    using Print = std::function<void(const QString& line)>;

    /// The report begins now, which has the @p date; an invalid one is not known.
    Report(Print print, bool json, const QDateTime& date = dateOf(now()));

    /// When the report began, by now().
    std::chrono::nanoseconds begin() const { return m_begin; }
    /// Begins again: times count from now, which has the @p date.
    void restart(const QDateTime& date);
    /// While it is muted, nothing is printed.
    void setMuted(bool muted) { m_isMuted = muted; }
    bool isJson() const { return m_json; }

    /// The time since the report's beginning, in the form (seconds.micros).
    QString stamp() const;

    /// A signal with its arguments and the values that it changed; @p parts are all of them as text.
    void signal(const QString& name, const QVector<Reading>& arguments, const QVector<Reading>& changed,
                const QStringList& parts) const;

    /// What the simulated box inside shows.
    void box(const QString& text) const;
    /// A fault of the simulated box has hit something.
    void fault(const boxsim::Hit& hit) const;

    // The parts of an answer. As text each is printed at once; as JSON they are keys of the one line of
    // answer() or call().

    /// How the car is, grouped by topic, and how old that is.
    void state(const QVector<KnownReading>& readings);
    /// What the line has carried, and what is wrong with it.
    void link(const LinkState& link);
    /// What the host's operation behind @p command returned.
    void result(const QString& command, const QVariant& value);
    /// Plain text, of one line or more; behind @p teller on each line of text.
    void text(const QString& text, const QString& teller = {});

    /// A @p command of the input's @p line has been carried out; or it has not, which @p key of "refused" and
    /// "failed" tells, and @p text tells why.
    void answer(const QString& command, int line, const QString& key, const QString& text);
    /// A call of a capture has been made again.
    void call(const QString& command, int line);

    // What only JSON has on standard output.

    /// Something of which @p keys tell everything.
    void event(const QJsonObject& keys) const;
    /// Bytes of one direction, "rx" or "tx", and the keys of the units that end with them.
    void bytes(const QString& direction, const QString& hex, const std::vector<std::string>& units) const;

private:
    void print(const QString& line) const;
    void printJson(const QJsonObject& object) const;

    Print m_print;
    std::chrono::nanoseconds m_begin; // by now()
    JsonLines m_lines;
    bool m_json;
    bool m_isMuted = false;
    QJsonObject m_answer; // to the command that is carried out
};
