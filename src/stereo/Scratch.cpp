#include "stereo/Scratch.h"

namespace kestrova {

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
    thread_local Scratch t_scratch;
    return t_scratch;
}

} // namespace kestrova
