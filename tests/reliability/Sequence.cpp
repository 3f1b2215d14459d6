#include "reliability/Sequence.h"

#include <numeric>

namespace kestrova::test {

std::uint64_t g_uSeed = 0;
int g_nStep = 0;
const char* g_pszCall = "";

namespace {

constexpr std::array sk_anThreads = {1, 2, 3, 4, 7};

} // namespace

Sequence::Sequence(std::uint64_t uSeed, const Options& rOptions) : m_options(rOptions), m_random(uSeed)
{
    g_uSeed = uSeed;
    kestrovaEnableSSE2IfAvailable(true);
}

Sequence::~Sequence()
{
    while (!m_handles.empty()) {
        close(m_handles.back().get());
    }
    kestrovaEnableSSE2IfAvailable(true);
}

int Sequence::threads(int nCount, bool bBack) const
{
    const auto it = std::find(sk_anThreads.begin(), sk_anThreads.end(), nCount);
    if (it == sk_anThreads.end()) {
        return nCount;
    }
    const int nSize = static_cast<int>(sk_anThreads.size());
    const int nShift = bBack ? nSize - m_options.nThreadShift : m_options.nThreadShift;
    return sk_anThreads[static_cast<std::size_t>((it - sk_anThreads.begin() + nShift) % nSize)];
}

OpenHandle* Sequence::anyHandle()
{
    return m_handles.empty() || m_random.oneIn(60) ? nullptr : m_handles[m_random.next() % m_handles.size()].get();
}

KestrovaContext Sequence::context()
{
    const OpenHandle* const pHandle = anyHandle();
    return pHandle != nullptr ? pHandle->context : nullptr;
}

void Sequence::opened(KestrovaContext context, const OpenHandle* pSource)
{
    m_handles.push_back(std::make_unique<OpenHandle>(pSource != nullptr ? *pSource : OpenHandle{}));
    m_handles.back()->context = context;
    if (pSource == nullptr) {
        kestrovaSetMaxThreadCount(context, threads(2));
    }
}

void Sequence::close(OpenHandle* pHandle)
{
    note(kestrovaDestroyContext(pHandle->context));
    std::erase_if(m_handles, [&](const auto& p) { return p.get() == pHandle; });
}

void Sequence::run(int nCalls, std::map<std::string, long>& rCounts)
{
    static const int s_nTotal =
        std::accumulate(allCalls().begin(), allCalls().end(), 0, [](int n, const Op& rOp) { return n + rOp.nWeight; });
    for (g_nStep = 0; g_nStep < nCalls; ++g_nStep) {
        int nAt = m_random.between(1, s_nTotal);
        auto it = allCalls().begin();
        for (; nAt > it->nWeight; ++it) {
            nAt -= it->nWeight;
        }
        g_pszCall = it->pszName;
        it->run(*this);
        ++rCounts[it->pszName];
        m_steps.emplace_back(it->pszName, m_digest.value());
    }
}

const std::vector<Op>& allCalls()
{
    static const std::vector<Op> s_calls = [] {
        std::vector<Op> calls;
        for (const auto pfn :
             {handleCalls, frameCalls, imageCalls, settingCalls, pointCalls, fileCalls, numericCalls}) {
            const std::vector<Op> more = pfn();
            calls.insert(calls.end(), more.begin(), more.end());
        }
        return calls;
    }();
    return s_calls;
}

} // namespace kestrova::test
