// zelto_bench [--rounds N] [--size FACTOR] [CONTEST …]: without names, all contests.

#include "bench/contests.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

using namespace zelto::bench;

int main(int argc, char** argv) {
    const std::vector<std::pair<std::string, void (*)(const Effort&)>> contests = {
        {"suppressed", &CompeteInSuppression},
        {"format", &CompeteInFormatting},
        {"calls", &CompeteInCalls},
        {"bursts", &CompeteInBursts},
        {"streams", &CompeteInStreams},
        {"listener", &CompeteInListening},
        {"load", &CompeteInLoading},
    };
    Effort effort;
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--rounds" && i + 1 < argc) {
            effort.rounds = std::atoi(argv[++i]);
        } else if (argument == "--size" && i + 1 < argc) {
            effort.size = std::atof(argv[++i]);
        } else {
            names.push_back(argument);
        }
    }
    Require(effort.rounds > 0 && effort.size > 0, "rounds and size are above 0");
    std::printf("%d rounds in rotated order; ratios are medians of the rounds' ratios\n", effort.rounds);
    std::size_t run = 0;
    for (const auto& [name, compete] : contests) {
        bool wanted = names.empty();
        for (const std::string& asked : names) {
            wanted = wanted || asked == name;
        }
        if (wanted) {
            compete(effort);
            ++run;
        }
    }
    Require(run == (names.empty() ? contests.size() : names.size()), "every contest that was named is there");
    return 0;
}
