// The general correlator row by row: the sums of all disparities are taken on by one image row, and the minimum of a
// row of pixels is complete before the next one. Nothing but the table of sums outlives a row, so neither the minimum
// nor what the fit needs ever leaves the cache.
//
// The row kernels are the ones of the plain way, called for the same pixels at the same alignment: where lanes, ends of
// rows or the order of disparities decide, both decide alike.
#include "kernels/kernels.h"
#include "kernels/processor.h"
#include "stereo/GeneralSearch.h"
#include "stereo/ViewSums.h"

#include <algorithm>

namespace kestrova {

namespace {

class RowSearch
{
public:
    explicit RowSearch(const GeneralSearch& rSearch);

    void run();

private:
    template<typename Taker>
    void take(Taker& rTaker);
    [[nodiscard]] SummedView viewAt(int i) const;
    [[nodiscard]] SummedView textureView() const;
    [[nodiscard]] int nViews() const { return s.m_nLast - s.m_nFirst + 1; }

    void begin(int nRow);
    void merge8(int nView);
    void merge16(int nView);
    void fit(int nRow);

    const GeneralSearch& s;
    const CorrelationSettings& r;
    ImageROI m_output; // of the lowest disparity; the others reach less far
    EarlySeeds m_seeds;
    RowInterpolation m_fit;
    bool m_bSSE2;
    const KernelForm& m_rKernels;
    bool m_bTexture; // measured in every row

    ViewSums m_sums;
    SummedView m_texture{};
    SummedView* m_pViews = nullptr;
    std::uint8_t* m_pGrey = nullptr;
    // Rows of the frame, so that every pixel is as aligned as in an image.
    std::uint16_t* m_pBest = nullptr;
    std::uint16_t* m_pBefore = nullptr;
    std::uint16_t* m_pAfter = nullptr;
    std::uint16_t* m_pValidation = nullptr;
    std::uint8_t* m_pLabels = nullptr; // of the row; 8-bit results go straight to the image
    std::uint8_t* m_pRowLabels = nullptr;
};

RowSearch::RowSearch(const GeneralSearch& rSearch)
    : s(rSearch), r(rSearch.m_rSettings), m_output(s.output(s.viewsAt(s.m_nFirst))),
      m_seeds(EarlySeeds::make(s.tests())), m_fit(s.fit()), m_bSSE2(sse2Enabled()), m_rKernels(kernelForm(m_bSSE2)),
      m_bTexture(r.testsLabels() && m_seeds.m_bTests)
{
    ScratchCount count;
    take(count);
    threadScratch().reset(count.m_uBytes);
    take(threadScratch());
    m_sums.reset(r.m_nMask, s.frame().m_nCols, m_bSSE2);
    std::fill_n(m_pGrey, s.frame().m_nCols, sk_ucEdgeZero);
    std::fill_n(m_pValidation, s.frame().m_nCols, sk_uAnyScore);
    for (int n = 0; n < nViews(); ++n) {
        m_sums.clear(m_pViews[n]);
    }
    m_sums.clear(m_texture);
}

template<typename Taker>
void RowSearch::take(Taker& rTaker)
{
    const int nCols = s.frame().m_nCols;
    m_sums.take(rTaker, nCols);
    m_pGrey = rTaker.template take<std::uint8_t>(ViewSums::padded(nCols));
    for (std::uint16_t** ppRow : {&m_pBest, &m_pBefore, &m_pAfter, &m_pValidation}) {
        *ppRow = rTaker.template take<std::uint16_t>(ViewSums::padded(nCols));
    }
    m_pRowLabels = rTaker.template take<std::uint8_t>(ViewSums::padded(nCols));
    m_pViews = rTaker.template take<SummedView>(static_cast<std::size_t>(nViews()));
    const auto takeSums = [&](SummedView& rView) {
        rView.m_pSums = rTaker.template take<std::uint16_t>(ViewSums::padded(rView.m_nSumCols));
    };
    m_texture = textureView();
    takeSums(m_texture);
    for (int n = 0; n < nViews(); ++n) {
        SummedView view = viewAt(s.m_nFirst + n);
        takeSums(view);
        if (m_pViews != nullptr) {
            m_pViews[n] = view;
        }
    }
}

SummedView RowSearch::viewAt(int i) const
{
    const AlignedViews views = s.viewsAt(i);
    const ImageROI cut = views.view(0);
    const ImageROI output = s.output(views);
    SummedView view{{}, s.images(), cut.m_nRows, cut.m_nCols, output.m_nRows, output.m_nCols, nullptr};
    for (int n = 0; n < s.images(); ++n) {
        const ImageROI place = views.view(n);
        const Image<unsigned char>& rImage = s.m_images[static_cast<std::size_t>(n)];
        view.m_aSources[static_cast<std::size_t>(n)] = {&rImage[place.m_nRowOffset][place.m_nColOffset],
                                                        rImage.rowDistance()};
    }
    return view;
}

// The texture measure is a sum of differences like any other: from an image that is grey all over.
SummedView RowSearch::textureView() const
{
    SummedView view = viewAt(s.m_nFirst);
    view.m_nSources = 2;
    view.m_aSources[1] = {m_pGrey, 0};
    return view;
}

void RowSearch::run()
{
    for (int nRow = 0; nRow < m_pViews[0].m_nRows; ++nRow) {
        if (m_bTexture) {
            m_sums.add(m_texture, nRow);
        }
        const int nOut = nRow - (r.m_nMask - 1);
        const bool bComplete = nOut >= 0 && nOut < m_output.m_nRows;
        if (bComplete) {
            begin(nOut);
        }
        for (int n = 0; n < nViews() && nRow < m_pViews[n].m_nRows; ++n) {
            m_sums.add(m_pViews[n], nRow);
            if (bComplete && nOut < m_pViews[n].m_nSumRows) {
                r.m_bSubpixel ? merge16(n) : merge8(n);
            }
        }
        if (bComplete && r.m_bSubpixel) {
            fit(nOut);
        }
    }
}

void RowSearch::begin(int nRow)
{
    const int nCol = m_output.m_nColOffset;
    m_pLabels = r.m_bSubpixel ? m_pRowLabels + nCol : &s.m_rOut.m_r8[m_output.m_nRowOffset + nRow][nCol];
    if (r.testsLabels()) {
        std::uint16_t* const pSeeds = (r.m_bSubpixel ? m_pValidation : m_pBest) + nCol;
        if (m_bTexture) {
            row_copy16(pSeeds, m_texture.m_pSums, m_output.m_nCols);
        }
        m_seeds.seed(pSeeds, m_pLabels, static_cast<unsigned>(m_output.m_nCols)); // 16-bit: labels come anew
    }
}

void RowSearch::merge8(int nView)
{
    const SummedView& rView = m_pViews[nView];
    std::uint16_t* const pBest = m_pBest + m_output.m_nColOffset;
    const std::uint8_t ucLabel = s.label8(s.m_nFirst + nView);
    if (nView == 0 && !r.testsLabels()) {
        row_copy16(pBest, rView.m_pSums, rView.m_nSumCols);
        std::fill_n(m_pLabels, rView.m_nSumCols, ucLabel);
    } else { // a disparity has to beat the seed to be seen at all, the first one like the others
        m_rKernels.stereo_min(pBest, m_pLabels, rView.m_pSums, ucLabel, rView.m_nSumCols);
    }
}

void RowSearch::merge16(int nView)
{
    const SummedView& rView = m_pViews[nView];
    const int nCol = m_output.m_nColOffset;
    const auto ucLabel = static_cast<std::uint8_t>(s.m_nFirst + nView);
    if (nView == 0) {
        row_copy16(m_pBest + nCol, rView.m_pSums, rView.m_nSumCols);
        std::fill_n(m_pLabels, rView.m_nSumCols, ucLabel);
        std::fill_n(m_pBefore + nCol, rView.m_nSumCols, sk_uNeverSeen);
        std::fill_n(m_pAfter + nCol, rView.m_nSumCols, sk_uNeverSeen);
    } else { // the table has the scores of the disparity before
        m_rKernels.stereo_min_subpix(m_pBest + nCol, m_pLabels, m_pBefore + nCol, m_pAfter + nCol,
                                     m_pViews[nView - 1].m_pSums, rView.m_pSums, ucLabel, rView.m_nSumCols);
    }
}

void RowSearch::fit(int nRow)
{
    const int nCol = m_output.m_nColOffset;
    m_rKernels.row_interpolation(&s.m_rOut.m_r16[m_output.m_nRowOffset + nRow][nCol], m_output.m_nCols, m_pBest + nCol,
                                 m_pBefore + nCol, m_pAfter + nCol, m_pLabels, m_pValidation + nCol, m_fit);
}

} // namespace

void searchByRows(const GeneralSearch& rSearch)
{
    RowSearch(rSearch).run();
}

} // namespace kestrova
