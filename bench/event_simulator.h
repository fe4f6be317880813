// Work that depends on other work, done by cores that share their memory, in simulated time.
#pragma once

#include <cstdint>
#include <vector>

namespace vyr::bench {

/// A piece of work of one core.
struct Part {
    double seconds; ///< on a core alone with the memory
    double bytes;   ///< to and from memory
};

/// Parts in any order, side by side where cores are free.
struct Step {
    std::vector<Part> parts;
    bool locked = false; ///< one such step at a time
};

/// Steps one after the other, by the core that takes the unit; others may take parts.
struct Unit {
    std::vector<Step> steps;
    std::vector<std::int32_t> next; ///< units that wait for this one
    std::int32_t n_before = 0;      ///< units that this one waits for
    double urgency = 0;             ///< of the units that could begin, the most urgent one does
};

struct Cores {
    int count;
    double core_bandwidth; ///< bytes a second of one core
    double bandwidth;      ///< of all cores together, at most
    double company;        ///< seconds beside other cores that work over those alone
    double task_seconds;   ///< for each unit, and each part that others may take
    double queue_seconds;  ///< in which nobody else can take one
    double waking_seconds; ///< from work's being there to an idle core's beginning
};

struct Outcome {
    double seconds;
    double busy; ///< seconds of all cores with work, the costs of tasks included
};

/// A free core begins the most urgent unit, or, when there is none, takes a part of another's; one whose unit
/// waits for parts that others have taken waits, too. Deterministic.
Outcome simulate(const std::vector<Unit>& units, const Cores& cores);

} // namespace vyr::bench
