#include "kernels/processor.h"

#include <atomic>

namespace kestrova {

namespace {

// Two bytes per instruction set. They are atomic only so that a race on the first query is a defined one: every
// thread that takes part stores the same value.
struct Switch
{
    std::atomic<std::uint8_t> m_ucDecided = 0;
    std::atomic<std::uint8_t> m_ucEnabled = 0;

    void set(bool bEnabled)
    {
        m_ucEnabled.store(bEnabled, std::memory_order_relaxed);
        m_ucDecided.store(1, std::memory_order_release);
    }

    bool get(bool (*pAvailable)())
    {
        if (m_ucDecided.load(std::memory_order_acquire) == 0) {
            set(pAvailable());
        }
        return m_ucEnabled.load(std::memory_order_relaxed) != 0;
    }
};

constinit Switch g_mmx;
constinit Switch g_sse;
constinit Switch g_sse2;

bool featureBit(int nBit)
{
    return (cpuid_features() >> nBit & 1) != 0;
}

} // namespace

bool mmxAvailable()
{
    return featureBit(23);
}

bool sseAvailable()
{
    return featureBit(25);
}

bool sse2Available()
{
    return featureBit(26);
}

bool mmxEnabled()
{
    return g_mmx.get(mmxAvailable);
}

bool sseEnabled()
{
    return g_sse.get(sseAvailable);
}

bool sse2Enabled()
{
    return g_sse2.get(sse2Available);
}

void enableMMXIfAvailable(bool bEnable)
{
    g_mmx.set(bEnable && mmxAvailable());
}

void enableSSEIfAvailable(bool bEnable)
{
    g_sse.set(bEnable && sseAvailable());
}

void enableSSE2IfAvailable(bool bEnable)
{
    g_sse2.set(bEnable && sse2Available());
}

bool isMMX()
{
    return mmxEnabled();
}

bool isSSE()
{
    return sseEnabled();
}

bool isSSE2()
{
    return sse2Enabled();
}

} // namespace kestrova
