#pragma once

#include "capture.h"
#include "exitcode.h"
#include "inputreader.h"
#include "selection.h"

#include <QStringList>

#include <memory>
#include <optional>

/// What boxdecode is to do.
struct Options
{
    enum Output { Text, Json, Csv, Candump, Pcapng, Stats, Diff, Dbc, Dissector };
    struct Input
    {
        protocol::InputKind kind = protocol::InputKind::ByContent;
        QString path;        ///< "-" is standard input
        std::string bytes;   ///< where there is no path
        int descriptor = -1; ///< of what is open already, with neither of them
    };

    Output output = Text;
    std::vector<Input> inputs; ///< nothing for Dbc and Dissector, and where there is a tap
    QStringList tap;           ///< the devices of the head unit and of the box; else nothing
    CaptureOptions record;     ///< of the tap
    bool all = false;
    bool coloured = false;
    uint64_t count = UINT64_MAX;
    std::optional<int> carModel;
    protocol::Selection selection;
    std::unique_ptr<const protocol::Description> description; ///< nothing where it is the one of this project
};

/// Reads the command line. Ends the program over --help, --version and arguments that cannot be used.
Options readOptions(const QStringList& arguments);
