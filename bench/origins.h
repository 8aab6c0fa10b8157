#pragma once

#include "carstate.h"
#include "linkstate.h"

#include <optional>

/// A reading with what is known of where it comes from.
struct KnownReading : Reading
{
    bool isCarried = false; ///< some frame of the protocol carries it
    /// When a frame that carries it last came, by now(); none where none has come.
    std::optional<std::chrono::nanoseconds> time;
};

/// The @p readings with what the frames on @p link say of them, for the car of the set-up; with @p isAll also
/// those that no frame carries.
QVector<KnownReading> withOrigins(const QVector<Reading>& readings, const LinkState& link, bool isAll);
