#pragma once

namespace boxsim {

/// How the program ends.
enum ExitCode { Ended = 0, Usage = 1, NoLine = 2, BadScenario = 3, NoOutput = 4 };

} // namespace boxsim
