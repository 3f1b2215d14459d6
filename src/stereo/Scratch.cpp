#include "stereo/Scratch.h"

#include <utility>

namespace kestrova {

namespace {

thread_local Scratch* t_pGiven = nullptr;

} // namespace

void Scratch::reset(std::size_t uBytes)
{
    if (uBytes > m_uSize) {
        m_pBytes.reset();
        m_uSize = 0;
        m_pBytes.reset(new (std::align_val_t(sk_uAlignment)) std::byte[uBytes]);
        m_uSize = uBytes;
    }
    m_uUsed = 0;
}

Scratch& threadScratch()
{
    if (t_pGiven != nullptr) {
        return *t_pGiven; // before the thread's own is made, which takes memory to be ended with the thread
    }
    thread_local Scratch t_own;
    return t_own;
}

ScratchUse::ScratchUse(Scratch& rScratch) : m_pBefore(std::exchange(t_pGiven, &rScratch)) {}

ScratchUse::~ScratchUse()
{
    t_pGiven = m_pBefore;
}

} // namespace kestrova
