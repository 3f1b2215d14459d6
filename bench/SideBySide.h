// Times two pieces of work in turn, so that a drift of the machine's speed falls on both.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

struct Comparison
{
    double m_dOurMs;   // median
    double m_dTheirMs; // median
    double m_dRatio;   // median of theirs over ours, round by round: above 1, ours is faster
};

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template<typename Work>
double millisecondsOf(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/** Runs ours and theirs in turn, one round uncounted, until enough rounds or seconds have passed. */
template<typename Ours, typename Theirs>
Comparison compare(const Ours& ours, const Theirs& theirs, int nRounds = 31, double dMaxSeconds = 8.0)
{
    ours();
    theirs();
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    std::vector<double> ratios;
    double dSpentMs = 0;
    for (int nRound = 0; nRound < nRounds && (nRound < 5 || dSpentMs < dMaxSeconds * 1000); ++nRound) {
        ourTimes.push_back(millisecondsOf(ours));
        theirTimes.push_back(millisecondsOf(theirs));
        ratios.push_back(theirTimes.back() / ourTimes.back());
        dSpentMs += ourTimes.back() + theirTimes.back();
    }
    return {median(ourTimes), median(theirTimes), median(ratios)};
}

} // namespace bench
