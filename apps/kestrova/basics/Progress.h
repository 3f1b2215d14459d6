// How far a batch is, on a terminal only: a pipe or a log file stays clean.
#pragma once

#include <chrono>
#include <cstddef>

namespace kestrova::app {

class Progress
{
public:
    /** Writes to standard error, and only if that is a terminal. Of no frames nothing is told. */
    explicit Progress(std::size_t uAll);
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void done(std::size_t uFrames);
    void clear(); // before another line is written
    double seconds() const;

private:
    using Clock = std::chrono::steady_clock;
    std::size_t m_uAll;
    bool m_bTerminal;
    bool m_bShown = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_last{};
};

} // namespace kestrova::app
