#include "stereo/ViewSums.h"

#include "kernels/kernels.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr int sk_nLargestAddingMask = 15; // 15 * 15 * 255 < 65536: sums stop at 255, none wraps
constexpr int sk_nWholeRegister = 32;     // values of the widest form: what lies behind a row is worked out, not used

constexpr int wholeRegisters(int n)
{
    return (n + sk_nWholeRegister - 1) / sk_nWholeRegister * sk_nWholeRegister;
}

} // namespace

void ViewSums::reset(int nMask, int nCols, bool bSSE2)
{
    m_nMask = nMask;
    m_pKernels = &kernelForm(bSSE2);
    for (std::uint8_t* pRow : {m_pArriving, m_pLeaving, m_pNone}) {
        std::fill_n(pRow, padded(nCols), std::uint8_t{0});
    }
    std::fill_n(m_pRunning, static_cast<std::size_t>(sk_nPadding) + padded(nCols), std::uint16_t{0});
}

void ViewSums::clear(SummedView& rView) const
{
    std::fill_n(rView.m_pSums, padded(rView.m_nSumCols), std::uint16_t{0});
}

const std::uint8_t* ViewSums::differences(std::uint8_t* pOut, const SummedView& rView, int nRow) const
{
    const auto row = [&](int n) {
        const SummedView::Source& rSource = rView.m_aSources[static_cast<std::size_t>(n)];
        return rSource.m_pPixels + rSource.m_nRowDistance * nRow;
    };
    m_pKernels->abs_diff(pOut, row(0), row(1), rView.m_nCols);
    for (int n = 2; n < rView.m_nSources; ++n) {
        (m_nMask > sk_nLargestAddingMask ? m_pKernels->acc_abs_diff_over2
                                         : m_pKernels->acc_abs_diff)(pOut, row(0), row(n), rView.m_nCols);
    }
    return pOut;
}

DifferenceRows ViewSums::rows(const SummedView& rView, int nRow) const
{
    const int nGroup = m_nMask > sk_nLargestAddingMask ? 8 : 16; // of acc_abs_diff_over2 and acc_abs_diff
    DifferenceRows rows{{},
                        {},
                        rView.m_nSources,
                        rView.m_nCols,
                        rView.m_nCols / nGroup * nGroup,
                        nRow >= m_nMask,
                        m_nMask > sk_nLargestAddingMask};
    for (int n = 0; n < rView.m_nSources; ++n) {
        const SummedView::Source& rSource = rView.m_aSources[static_cast<std::size_t>(n)];
        rows.m_apArriving[n] = rSource.m_pPixels + rSource.m_nRowDistance * nRow;
        rows.m_apLeaving[n] = rows.m_apArriving[n] - (rows.m_bLeaving ? rSource.m_nRowDistance * m_nMask : 0);
    }
    return rows;
}

void ViewSums::add(SummedView& rView, int nRow) const
{
    std::uint16_t* const pRunning = m_pRunning + sk_nPadding;
    if (m_pKernels->running_differences == nullptr || !m_pKernels->running_differences(pRunning, rows(rView, nRow))) {
        const std::uint8_t* pArriving = differences(m_pArriving, rView, nRow);
        const std::uint8_t* pLeaving = nRow < m_nMask ? m_pNone : differences(m_pLeaving, rView, nRow - m_nMask);
        m_pKernels->box_add_sub16(pRunning, 0, pArriving, pLeaving, wholeRegisters(rView.m_nCols));
    }
    // Windows end at column m - 1 and on; in front of the first one lies the zero.
    m_pKernels->box_add_sub16ptr(rView.m_pSums, rView.m_pSums, pRunning + m_nMask - 1, pRunning - 1,
                                 wholeRegisters(rView.m_nSumCols));
}

} // namespace kestrova
