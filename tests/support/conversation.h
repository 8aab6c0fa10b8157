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
/// What comes about: the host's journal (see RecordingHost), then each getter whose answer changed. Steps:
///
///   box TYPE PAYLOAD   a good frame; that it is acknowledged and reported alive goes without saying
///   chunk BYTES        bytes as the port delivers them, in one chunk
///   wait MS            time passes
///   call NAME ARG...   a host call; "returns VALUE" comes last where it has a result
///   car ID             the host is set to this car model; likewise: index N, position N, text ID TEXT
///   logs on|off        whether log lines are part of the journal
///
/// Arguments are split at blanks; '...' keeps one together. '#' begins a comment line.
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
