#include "basics/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace kestrova::app {

Progress::Progress(std::size_t uAll) : m_uAll(uAll), m_bTerminal(::isatty(STDERR_FILENO) != 0) {}

double Progress::seconds() const
{
    return std::chrono::duration<double>(Clock::now() - m_start).count();
}

void Progress::done(std::size_t uFrames)
{
    const Clock::time_point now = Clock::now();
    const bool bOften = now - m_last < std::chrono::milliseconds(100) && uFrames < m_uAll;
    if (!m_bTerminal || bOften || uFrames == 0 || uFrames > m_uAll) {
        return;
    }
    m_last = now;
    const double dRate = static_cast<double>(uFrames) / seconds();
    const double dLeft = static_cast<double>(m_uAll - uFrames) / dRate;
    std::fprintf(stderr, "\r%zu of %zu frames, %.1f frames per second, %.0f seconds left \033[K", uFrames, m_uAll,
                 dRate, dLeft);
    std::fflush(stderr);
    m_bShown = true;
}

void Progress::clear()
{
    if (m_bShown) {
        std::fputs("\r\033[K", stderr);
    }
    m_bShown = false;
}

} // namespace kestrova::app
