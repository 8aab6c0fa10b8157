#pragma once

#include <QFileInfo>
#include <QStringList>

#include <cstdio>
#include <functional>
#include <initializer_list>

/// Puts /dev/null in the place of closed standard streams, so that no file or device gets their numbers. A
/// reader that has gone is an error of writing from then on, and no signal.
void prepareStandardStreams();

/// The signals that end a process.
extern const std::initializer_list<int> endSignals;

/// The signals @p numbers no longer do what they do by default.
/// @return a descriptor that becomes readable when one of them comes, until takeSignal()
int takeOverSignals(std::initializer_list<int> numbers);

/// Takes the signal that has made @p descriptor readable. @return its number
int takeSignal(int descriptor);

/// Is called before a line is written: what stands on the terminal's last line is to be taken away.
extern std::function<void()> beforeLine;

/// The other processes with an open file of which @p isMeant holds, of those that one may look at, as in
/// "boxsim (process 12)". The file is handed over as its entry in /proc/PID/fd.
QStringList processesWith(const std::function<bool(const QFileInfo& file)>& isMeant);

/// Writes @p line and a line's end on @p stream, at once. @return whether that succeeded; errno tells why
/// not.
bool printLine(FILE* stream, const QString& line);

/// Standard output, line by line. Behind a line that could not be written no other one is.
class StandardOutput
{
public:
    std::function<void(int error)> onFailure; ///< called once, with errno, when a line cannot be written

    void print(const QString& line);
    bool isIntact() const { return m_intact; }

private:
    bool m_intact = true;
};
