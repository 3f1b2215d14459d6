// How long the stages of a frame took.
#pragma once

#include <chrono>
#include <string>
#include <type_traits>
#include <vector>

namespace kestrova::app {

struct StageTime
{
    std::string m_stage; // for people
    double m_dMilliseconds = 0.0;
    std::string m_key = {}; // for programs: a word that stays
};

/** Does the work, notes how long it took and gives what it made. */
template<typename Work>
auto timed(std::vector<StageTime>& rTimes, const char* pszStage, const char* pszKey, const Work& rWork)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const auto note = [&] {
        rTimes.push_back({pszStage, std::chrono::duration<double, std::milli>(Clock::now() - start).count(), pszKey});
    };
    if constexpr (std::is_void_v<decltype(rWork())>) {
        rWork();
        note();
    } else {
        auto made = rWork();
        note();
        return made;
    }
}

} // namespace kestrova::app
