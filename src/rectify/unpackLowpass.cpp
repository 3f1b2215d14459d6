#include "rectify/unpackLowpass.h"

#include "kernels/kernels.h"
#include "rectify/Camera.h"
#include "rectify/fixedPoint.h"
#include "rectify/lowpass.h"
#include "rectify/unpack.h"

namespace kestrova {

// ---- packed: box sums over the four lanes of every pixel ----

namespace {

/** The running box sum of a packed image: a ring of row sums, one more than the box has rows, and their sum. */
class PackedBox
{
public:
    // The ring starts at 0: where an image is too narrow for its mask, row sums are never written.
    PackedBox(const Image<Pixel8x4>& rSrc, unsigned uMaskRows, unsigned uMaskCols)
        : m_rSrc(rSrc), m_nMaskRows(static_cast<int>(uMaskRows)), m_uMaskCols(uMaskCols),
          m_nOut(rSrc.nCols() + 1 - static_cast<int>(uMaskCols)),
          m_ring(blackScratch<Pixel16x4>({m_nMaskRows + 2, rSrc.nCols()}))
    {
        for (int nRow = 0; nRow < m_nMaskRows; ++nRow) {
            sumRow(nRow, nRow);
            if (nRow == 0) {
                row_copy16(sums(), ring(0), lanes());
            } else {
                row_add(sums(), sums(), ring(nRow), lanes());
            }
        }
    }

    /** Moves the box down so that nRow is its last source row. */
    void add(int nRow)
    {
        if (m_nMaskRows == 1) {
            sumRow(nRow, m_nMaskRows + 1);
        } else if (m_uMaskCols == 1) {
            box_add_sub8ptr(sums(), sums(), source(nRow), source(nRow - m_nMaskRows), 4 * m_rSrc.nCols());
        } else {
            const int nSlot = nRow % (m_nMaskRows + 1);
            sumRow(nRow, nSlot);
            box_add_sub16ptr(sums(), sums(), ring(nSlot), ring((nRow - m_nMaskRows) % (m_nMaskRows + 1)), lanes());
        }
    }

    [[nodiscard]] std::uint16_t* sums() { return ring(m_nMaskRows + 1); }
    [[nodiscard]] int lanes() const { return 4 * m_nOut; }

private:
    [[nodiscard]] std::uint16_t* ring(int nRow) { return m_ring[nRow][0].m_aLanes; }
    [[nodiscard]] const std::uint8_t* source(int nRow) const { return &m_rSrc[nRow][0].m_ucBlue; }
    void sumRow(int nRow, int nSlot)
    {
        box8x4_hfilter(&m_ring[nSlot][0], &m_rSrc[nRow][0], static_cast<unsigned>(m_nOut), m_uMaskCols);
    }

    const Image<Pixel8x4>& m_rSrc;
    int m_nMaskRows;
    unsigned m_uMaskCols;
    int m_nOut; // pixels of an output row
    Image<Pixel16x4> m_ring;
};

/** The box average of src, black where the box does not reach. */
Image<Pixel8x4> packedAverage(const Image<Pixel8x4>& rSrc, double dGain, unsigned uMaskRows, unsigned uMaskCols)
{
    Image<Pixel8x4> average = blackScratch<Pixel8x4>(rSrc.size());
    if (uMaskRows > static_cast<unsigned>(rSrc.nRows()) || uMaskCols > static_cast<unsigned>(rSrc.nCols())) {
        return average;
    }
    const auto nMaskRows = static_cast<int>(uMaskRows);
    const int nScale = averageScale(dGain, uMaskRows, uMaskCols);
    PackedBox box(rSrc, uMaskRows, uMaskCols);
    Image<Pixel8x4> interior(average, average.mask({nMaskRows, static_cast<int>(uMaskCols)}), false);
    for (int nRow = 0; nRow < interior.nRows(); ++nRow) {
        if (nRow > 0) {
            box.add(nRow + nMaskRows - 1);
        }
        row_pack_op(&interior[nRow][0].m_ucBlue, box.lanes(), box.sums(), nScale);
    }
    return average;
}

bool isPlainCopy(unsigned uMaskRows, unsigned uMaskCols, double dGain)
{
    return uMaskRows <= 1 && uMaskCols <= 1 && dGain == 1.0;
}

} // namespace

bool unpackLowpassRectify(Image<Pixel8x4>& rDst, Camera& rCamera, const Image<Pixel8x4>& rSrc, unsigned uMaskRows,
                          unsigned uMaskCols)
{
    uMaskRows = resolveMask(uMaskRows, rSrc.nRows(), rDst.nRows());
    uMaskCols = resolveMask(uMaskCols, rSrc.nCols(), rDst.nCols());
    const bool bPlain = isPlainCopy(uMaskRows, uMaskCols, rCamera.gain());
    const int nStride = bPlain ? rSrc.rowDistance() : PixelBuffer<Pixel8x4>::strideOf(rSrc.nCols());
    const Warper* const pWarper =
        rCamera.getWarper({rDst.nRows(), rDst.nCols(), rSrc.nRows(), rSrc.nCols(), nStride, 0, 0, KernelBilinear, 5});
    if (pWarper == nullptr) {
        return false;
    }
    unpackLowpassRectify(rDst, *pWarper, rCamera.gain(), rSrc, uMaskRows, uMaskCols);
    return true;
}

void unpackLowpassRectify(Image<Pixel8x4>& rDst, const Warper& rWarper, double dGain, const Image<Pixel8x4>& rSrc,
                          unsigned uMaskRows, unsigned uMaskCols)
{
    uMaskRows = resolveMask(uMaskRows, rSrc.nRows(), rDst.nRows());
    uMaskCols = resolveMask(uMaskCols, rSrc.nCols(), rDst.nCols());
    rWarper.warp(rDst,
                 isPlainCopy(uMaskRows, uMaskCols, dGain) ? rSrc : packedAverage(rSrc, dGain, uMaskRows, uMaskCols));
}

// ---- planes: each channel through the grey lowpass ----

bool unpackLowpassRectify(const std::array<PlaneTarget, 3>& rTargets, const Image<Pixel8x4>& rSrc,
                          const Rectification& rHow)
{
    std::array<Image<unsigned char>, 3> raw{blackScratch<unsigned char>(rSrc.size()),
                                            blackScratch<unsigned char>(rSrc.size()),
                                            blackScratch<unsigned char>(rSrc.size())};
    unpackRGB(raw[0], raw[1], raw[2], rSrc);
    for (std::size_t u = 0; u < raw.size(); ++u) {
        if (!lowpassRectify(rTargets[u].m_rDst, rTargets[u].m_rCamera, raw[u], rHow)) {
            return false;
        }
    }
    return true;
}

} // namespace kestrova
