// Times two pieces of work in turn, so that a drift of the machine's speed falls on both.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
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

/** Of this process: other programs may run. */
inline double processorSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/** Seconds of every piece of work in every round; all in turn, so that a drift of the machine falls on each. */
inline std::vector<std::vector<double>> rounds(const std::vector<std::function<void()>>& rWorks, double dMaxSeconds)
{
    std::vector<std::vector<double>> times(rWorks.size());
    double dSpent = 0;
    for (int nRound = -1; nRound < 101 && (nRound < 7 || dSpent < dMaxSeconds); ++nRound) {
        for (std::size_t u = 0; u < rWorks.size(); ++u) {
            const double dBegin = processorSeconds();
            rWorks[u]();
            const double dSeconds = processorSeconds() - dBegin;
            dSpent += dSeconds;
            if (nRound >= 0) { // the first goes through cold memory
                times[u].push_back(dSeconds);
            }
        }
    }
    return times;
}

inline std::vector<double> medians(const std::vector<std::function<void()>>& rWorks, double dMaxSeconds)
{
    std::vector<double> result;
    for (const auto& rTimes : rounds(rWorks, dMaxSeconds)) {
        result.push_back(median(rTimes));
    }
    return result;
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
