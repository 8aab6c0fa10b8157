#pragma once

#include "car.h"
#include "frame.h"

#include <QList>
#include <QString>
#include <QVector>

#include <optional>

namespace boxsim {

/// What a frame of the head unit means to the box and its car.
struct Reaction
{
    QString meaning;
    bool shown = true;  ///< worth a line on stdout
    QList<int> answers; ///< types of the frames that answer it, sent in any case
    QList<int> reports; ///< types of the frames that it changed, sent unless the head unit stopped the box
    std::optional<bool> announced; ///< set by start (true) and stop (false)
};

/// A frame of the head unit in the scenario language.
struct HeadUnitFrame
{
    int type;
    QString word;
};

/// All that the box knows.
QVector<HeadUnitFrame> headUnitFrames();

/// Applies the head unit's @p frame to @p car.
Reaction react(Car& car, const Frame& frame);

} // namespace boxsim
