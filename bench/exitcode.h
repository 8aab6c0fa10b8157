#pragma once

/// How canbench ends.
enum ExitCode {
    CleanEnd = 0,
    ExpectationFailed = 1,
    BadArguments = 2,
    NoPlugin = 3,
    DeviceGone = 4,
    BadCommand = 5,
    CannotWrite = 6,
};
