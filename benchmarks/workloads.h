#pragma once

#include <functional>
#include <string>
#include <vector>

/// One thing that is measured.
struct Workload
{
    std::string group; ///< stream, frame, host, getter or limit
    std::string name;
    int units;                 ///< frames, or calls, in one iteration
    int bytes;                 ///< received bytes in one iteration; 0 where none are
    std::function<void()> run; ///< one iteration; alike from the second one on
};

/// All of them, in the order in which they have to run.
std::vector<Workload> workloads();
