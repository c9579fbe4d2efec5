#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>
#include <x86intrin.h>

namespace zelto::bench {

// What one run of a contender measured, by name: "median ns", "records/s" and the like.
using Figures = std::vector<double>;

// One of those that are compared.
struct Contender {
    std::string name;
    std::function<Figures()> run; // always as many figures, in the same order
};

// An upper bound on the ratio of two contenders' figures.
struct Target {
    std::size_t contender;
    std::size_t peer;
    std::size_t figure;
    double most;
};

// How often everything is run.
struct Effort {
    int rounds = 11;
    double size = 1.0; // of each run, as a factor
    int Scaled(int count) const {
        return static_cast<int>(count * size) < 1 ? 1 : static_cast<int>(count * size);
    }
};

// Runs the contenders in turn, beginning with another one in each round, and prints the median of each figure
// and, for each target, the median of the rounds' ratios. One round that is not counted goes before.
void Compete(const std::string& title, const std::vector<std::string>& figures,
             const std::vector<Contender>& contenders, const std::vector<Target>& targets,
             const Effort& effort);

// Ends the program when what was measured is not what was meant to be measured.
void Require(bool holds, const char* what);

// The value below which `share` of the values lie. Sorts them.
double Percentile(std::vector<double>& values, double share);

// The time-stamp counter, and what it counts in a nanosecond.
inline std::uint64_t Ticks() {
    return __rdtsc();
}
double TicksPerNanosecond();

// Nanoseconds a call, of calls too short to be timed one by one: the median over groups of 200, so that what the
// machine does beside does not count.
template <class Call>
double MedianOfGroups(int calls, const Call& call) {
    constexpr int kGroup = 200;
    std::vector<double> groups;
    for (int done = 0; done < calls || groups.empty(); done += kGroup) {
        const std::uint64_t before = Ticks();
        for (int i = 0; i < kGroup; ++i) {
            call(static_cast<unsigned>(done + i));
        }
        groups.push_back(static_cast<double>(Ticks() - before) / TicksPerNanosecond() / kGroup);
    }
    return Percentile(groups, 0.5);
}

} // namespace zelto::bench
