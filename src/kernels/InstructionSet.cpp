#include "kernels/InstructionSet.h"

#include "kernels/kernel_forms.h"
#include "kernels/processor.h"

#include <atomic>
#include <vector>

namespace kestrova {

namespace {

struct Row
{
    const char* m_pszName;
    bool (*m_pRunsHere)();
    KernelForm (*m_pRowKernels)(bool bSSE2); // called only where the set runs
    const ColumnForm* m_pColumns;
    const PixelForm* m_pPixels;
    const WholeRowForm* m_pWholeRows;
    const WideRowsForm* m_pWideRows;
};

bool always()
{
    return true;
}

// The last row that runs here is the best. The first is the reference.
constexpr Row sk_aTable[] = {
    {"plain", always, plainKernels, &g_columnsPlain, &g_pixelsPlain, nullptr, nullptr},
#ifdef KESTROVA_X86_FORMS
    {"sse2", always, sse2Kernels, &g_columnsSse2, &g_pixelsSse2, &g_wholeRowSse2, &g_wideRowsSse2},
    {"avx2", hasAvx2, avx2Kernels, &g_columnsSse2, &g_pixelsSse2, &g_wholeRowAvx2, &g_wideRowsAvx2},
    {"avx512", hasAvx512, avx512Kernels, &g_columnsSse2, &g_pixelsSse2, &g_wholeRowAvx512, &g_wideRowsAvx512},
#endif
};

/** The rows that run here. */
struct Registry
{
    Registry()
    {
        m_sets.reserve(std::size(sk_aTable));
        for (const Row& r : sk_aTable) {
            if (r.m_pRunsHere()) {
                m_sets.push_back({r.m_pszName,
                                  &r == sk_aTable,
                                  {r.m_pRowKernels(false), r.m_pRowKernels(true)},
                                  r.m_pColumns,
                                  r.m_pPixels,
                                  r.m_pWholeRows,
                                  r.m_pWideRows});
                m_pointers.push_back(&m_sets.back());
            }
        }
        m_pInUse = m_pointers.back();
    }

    std::vector<InstructionSet> m_sets;
    std::vector<const InstructionSet*> m_pointers;
    std::atomic<const InstructionSet*> m_pInUse;
};

Registry& registry()
{
    static Registry s_registry;
    return s_registry;
}

} // namespace

std::span<const InstructionSet* const> supportedInstructionSets()
{
    return registry().m_pointers;
}

const InstructionSet& instructionSet()
{
    return *registry().m_pInUse.load(std::memory_order_relaxed);
}

void forceInstructionSet(const InstructionSet& rSet)
{
    registry().m_pInUse.store(&rSet, std::memory_order_relaxed);
}

} // namespace kestrova
