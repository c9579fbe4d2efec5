#include "bench/contest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <windows.h>

namespace zelto::bench {
namespace {

using Rounds = std::vector<Figures>; // of one contender

double MedianOf(const Rounds& rounds, std::size_t figure) {
    std::vector<double> values;
    for (const Figures& round : rounds) {
        values.push_back(round[figure]);
    }
    return Percentile(values, 0.5);
}

double MedianRatio(const Rounds& ours, const Rounds& peers, std::size_t figure) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        ratios.push_back(ours[round][figure] / peers[round][figure]);
    }
    return Percentile(ratios, 0.5);
}

void PrintFigures(const std::vector<std::string>& figures, const std::vector<Contender>& contenders,
                  const std::vector<Rounds>& measured) {
    std::printf("  %-26s", "");
    for (const std::string& figure : figures) {
        std::printf(" %14s", figure.c_str());
    }
    std::printf("\n");
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        std::printf("  %-26s", contenders[i].name.c_str());
        for (std::size_t figure = 0; figure < figures.size(); ++figure) {
            const double median = MedianOf(measured[i], figure);
            std::printf(median < 100 ? " %14.2f" : " %14.0f", median);
        }
        std::printf("\n");
    }
}

} // namespace

void Compete(const std::string& title, const std::vector<std::string>& figures,
             const std::vector<Contender>& contenders, const std::vector<Target>& targets,
             const Effort& effort) {
    std::vector<Rounds> measured(contenders.size());
    for (int round = -1; round < effort.rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const std::size_t turn = (i + static_cast<std::size_t>(round + 1)) % contenders.size();
            Figures run = contenders[turn].run();
            Require(run.size() == figures.size(), "a contender has other figures");
            if (round >= 0) {
                measured[turn].push_back(std::move(run));
            }
        }
    }
    std::printf("\n%s\n", title.c_str());
    PrintFigures(figures, contenders, measured);
    for (const Target& target : targets) {
        const double ratio = MedianRatio(measured[target.contender], measured[target.peer], target.figure);
        std::printf("  %s / %s, %s: %.2f", contenders[target.contender].name.c_str(),
                    contenders[target.peer].name.c_str(), figures[target.figure].c_str(), ratio);
        if (target.most > 0) {
            std::printf(" (to reach: %.1f) %s", target.most,
                        ratio <= target.most ? "reached" : "NOT reached");
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

void Require(bool holds, const char* what) {
    if (!holds) {
        std::printf("FAILED: %s\n", what);
        std::fflush(stdout);
        std::exit(1);
    }
}

double Percentile(std::vector<double>& values, double share) {
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(share * last + 0.5)];
}

double TicksPerNanosecond() {
    static const double measured = [] {
        LARGE_INTEGER frequency;
        LARGE_INTEGER first;
        LARGE_INTEGER now;
        QueryPerformanceFrequency(&frequency);
        QueryPerformanceCounter(&first);
        const std::uint64_t begin = Ticks();
        do {
            QueryPerformanceCounter(&now);
        } while (now.QuadPart - first.QuadPart < frequency.QuadPart / 5);
        const double seconds =
            static_cast<double>(now.QuadPart - first.QuadPart) / static_cast<double>(frequency.QuadPart);
        return static_cast<double>(Ticks() - begin) / (seconds * 1e9);
    }();
    return measured;
}

} // namespace zelto::bench
