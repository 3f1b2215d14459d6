// The kernel tables of one class of kernel warpers: for every phase of a 32 by 32 grid one kernel, built on first use.
//
// Tables belong to the process, not to a warper: they hold as long as any warper of the class lives, even for a size
// that is no longer in use. Counting and building take a lock, since independent contexts build and destroy warpers on
// threads of their own. Built tables are only read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace kestrova {

/** A kernel of size by size weights, row-major. */
using InterpKernel = double*;

class InterpKernels
{
public:
    static constexpr int sk_nPhases = 32; // per axis
    static constexpr int sk_nEntries = sk_nPhases * sk_nPhases;

    /** Counts one warper. The last one that goes frees the tables; a copy counts as one more. */
    class Share
    {
    public:
        explicit Share(InterpKernels& rKernels) : m_rKernels(rKernels) { m_rKernels.addReference(); }
        Share(const Share& rOther) : Share(rOther.m_rKernels) {}
        Share& operator=(const Share&) = delete;
        ~Share() { m_rKernels.dropReference(); }

    private:
        InterpKernels& m_rKernels;
    };

    /**
     * The table of a size index, entries in the order row phase, column phase. If there is none yet it is made by
     * generate(kernel, row fraction, column fraction), which gets kernels of zeros. Good as long as the caller's share.
     */
    template<typename Generate>
    const double* table(int nIndex, int nSize, Generate generate)
    {
        const std::lock_guard lock(m_mutex);
        InterpKernel& rpTable = interpKernels[static_cast<std::size_t>(nIndex)];
        if (rpTable == nullptr) {
            rpTable = allocateInterpolationKernels(nSize);
            for (int nEntry = 0; nEntry < sk_nEntries; ++nEntry) {
                const int nRowPhase = nEntry / sk_nPhases;
                const int nColPhase = nEntry % sk_nPhases;
                generate(rpTable + nEntry * nSize * nSize, nRowPhase * sk_dPhase, nColPhase * sk_dPhase);
            }
        }
        return rpTable;
    }

    [[nodiscard]] int referenceCount() const;
    /** The table of a size index; null when it is not built. */
    [[nodiscard]] const double* builtTable(int nIndex) const;

private:
    static constexpr double sk_dPhase = 1.0 / sk_nPhases;

    static InterpKernel allocateInterpolationKernels(int nSize);
    void addReference();
    void dropReference();

    mutable std::mutex m_mutex; // guards all below; nothing to destroy in it
    // Raw, so that a handle that outlives the library's statics finds them as they were.
    std::array<InterpKernel, 2> interpKernels{}; // owned, delete[]; by size index, 0 for size 3, 1 for size 5
    std::int32_t m_nReferenceCount = 0;
};

/** Divides a kernel by its sum, so that a flat image stays flat. */
void normaliseKernel(InterpKernel pKernel, int nSize);

} // namespace kestrova
