#pragma once

#include <QStringList>

#include <vector>

/// A conversation between box, plug-in and host, as text. Scenes begin with a title and a fresh plug-in; a
/// step is a line at the margin, and the indented lines below it are everything that it must bring about, in
/// order:
///
///   == the first base-info frame reports the driving position
///   box 24 07 00
///     canDrivingPositionChanged()
///     getCanDrivingPosition 0
///
/// or, in fewer lines: box 24 07 00 | canDrivingPositionChanged() | getCanDrivingPosition 0
///
/// What comes about: the host's journal (see RecordingHost), then each getter whose answer changed. Instead
/// of the bytes of written frames, "sends TYPE DATA, TYPE DATA..." may be expected ("loses", into the closed
/// port): without what belongs to every frame of the type, and without zeros at the end of the data. Within
/// it 'text' are UTF-16 code units, low byte first.
///
/// Steps:
///
///   box TYPE PAYLOAD   a good frame; its log lines of the chunk, its acknowledgement and that it is reported
///                      alive go without saying
///   chunk BYTES        bytes as the port delivers them, in one chunk
///   wait MS            time passes
///   call NAME ARG...   a host call; "returns VALUE" comes last where it has a result
///   ask                each expected line is a call without arguments and its result
///   new                the plug-in is deleted and made anew
///   in CALL: STEP; ... the steps are done within the next call of that name that the plug-in makes of the
///   host:
///                      the journal's line of a write or signal, the name of a service, or of the
///                      member function whose log line it is
///   car ID             the host is set to this car model; likewise: index N, position N, text ID TEXT
///   logs on|off|errors whether log lines are part of the journal
///   questions on|off   whether what the host's services are asked is part of the journal
///
/// Arguments are split at blanks; '...' keeps one together, \0 in it is U+0000. '#' begins a comment line.
struct Step
{
    int line;
    QString text;
    QStringList expected;
};

struct Scene
{
    QString title;
    std::vector<Step> steps;
};

/// The scenes of @p file. In a Markdown file these are the blocks fenced with ```conversation.
std::vector<Scene> readConversation(const QString& file);

/// Plays @p scene on a fresh plug-in. @return an empty text, or what differed, for a person to read.
QString play(const Scene& scene);
