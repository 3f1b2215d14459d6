#include "stereo/disparity_pass.h"

#include "kernels/kernels.h"
#include "kernels/processor.h"

namespace kestrova {

namespace {

constexpr unsigned sk_uLargestAddingMask = 15; // 15 * 15 * 255 < 65536: sums stop at 255, none wraps

/** Differences of all views from the reference, gathered into one row of storage. */
class DifferenceRow
{
public:
    DifferenceRow(Image<unsigned char>& rStorage, const Image<unsigned char>* pViews, int K, unsigned m)
        : m_pViews(pViews), m_nViews(K), m_bAverage(m > sk_uLargestAddingMask), m_rStorage(rStorage)
    {}

    Row<unsigned char> operator()(int nRow)
    {
        const int nCols = m_pViews[0].nCols();
        const unsigned char* pReference = &m_pViews[0][nRow][0];
        unsigned char* pOut = &m_rStorage[nRow][0];
        abs_diff(pOut, pReference, &m_pViews[1][nRow][0], nCols);
        for (int nView = 2; nView < m_nViews; ++nView) {
            (m_bAverage ? acc_abs_diff_over2 : acc_abs_diff)(pOut, pReference, &m_pViews[nView][nRow][0], nCols);
        }
        return Row<unsigned char>(pOut, nCols);
    }

private:
    const Image<unsigned char>* m_pViews; // borrowed for the pass
    int m_nViews;
    bool m_bAverage;
    Image<unsigned char>& m_rStorage;
};

} // namespace

PassRows::PassRows(const ImageDim& rDim)
    : m_differences(Image<unsigned char>::constImage(rDim, 0)), m_scores(Image<unsigned short>::constImage(rDim, 0))
{}

void stereoFirstStep(Image<unsigned short>& rScore, const Image<unsigned char>* pViews, int K, unsigned m)
{
    if (K < 2 || pViews == nullptr || m == 0) {
        return;
    }
    const bool bSSE2 = sse2Enabled();
    Image<unsigned char> storage = Image<unsigned char>::constImage(pViews[0].size(), 0);
    DifferenceRow differences(storage, pViews, K, m);
    BoxFilter box;
    box.reset(rScore, m, m);
    for (int nRow = 0; nRow < pViews[0].nRows(); ++nRow) {
        box.add(differences(nRow), pViews[0].nCols(), bSSE2);
    }
}

void stereoStep(Image<unsigned short>& rBest, Image<unsigned char>& rLabel, Image<unsigned short>& rBefore,
                Image<unsigned short>& rAfter, Image<unsigned short>& rLast, const Image<unsigned char>* pViews, int K,
                unsigned m, unsigned char ucNewLabel, bool bSubpixel)
{
    if (K < 1 || pViews == nullptr || m == 0) {
        return;
    }
    PassRows rows(pViews[0].size());
    RunningMinimum minimum{rBest, rLabel, rBefore, rAfter, rLast};
    stereoStep(rows, minimum, {pViews, K, m, ucNewLabel}, bSubpixel);
}

void stereoStep(PassRows& rRows, RunningMinimum& r, const DisparityViews& rViews, bool bSubpixel)
{
    const auto [pViews, K, m, ucNewLabel] = rViews;
    if (K < 1 || pViews == nullptr || m == 0) {
        return;
    }
    const bool bSSE2 = sse2Enabled();
    DifferenceRow differences(rRows.m_differences, pViews, K, m);
    rRows.m_box.reset(rRows.m_scores, m, m);
    for (int nRow = 0; nRow < pViews[0].nRows(); ++nRow) {
        const int y = rRows.m_box.add(differences(nRow), pViews[0].nCols(), bSSE2);
        if (y < 0 || y >= r.m_best.nRows()) {
            continue;
        }
        const unsigned short* pScores = &rRows.m_scores[y][0];
        const int nCols = r.m_label.nCols();
        if (bSubpixel) {
            stereo_min_subpix(&r.m_best[y][0], &r.m_label[y][0], &r.m_before[y][0], &r.m_after[y][0], &r.m_last[y][0],
                              pScores, ucNewLabel, nCols, bSSE2);
            row_copy16(&r.m_last[y][0], pScores, nCols);
        } else {
            stereo_min(&r.m_best[y][0], &r.m_label[y][0], pScores, ucNewLabel, nCols, bSSE2);
        }
    }
}

} // namespace kestrova
