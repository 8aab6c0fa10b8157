#pragma once

/// How a program ends; one that a code has no meaning for never ends with it.
enum ExitCode {
    CleanEnd = 0,
    ExpectationFailed = 1, ///< of a script, or what is compared differs
    BadArguments = 2,      ///< or a file of theirs that cannot be used
    NoPlugin = 3,
    DeviceGone = 4, ///< or the line cannot be opened
    BadCommand = 5, ///< a script or scenario holds what cannot be carried out
    CannotWrite = 6,
};
