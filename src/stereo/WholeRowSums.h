// What one call of the fast correlator works in when it goes by whole rows, and the walk over the rows.
//
// Scratch belongs to the thread and is kept from call to call, so a frame allocates nothing once sizes are settled.
#pragma once

#include "image/Image.h"
#include "kernels/WholeRow.h"
#include "stereo/ColumnLayout.h"
#include "stereo/labels.h"

#include <array>
#include <span>

namespace kestrova {

class WholeRowSums
{
public:
    /**
     * The form that a call should take; null for the plain way. With a back-forth check the range has to fit the
     * lanes: only the plain table has what lies behind them.
     */
    [[nodiscard]] static const WholeRowForm* formFor(const ColumnLayout& rLayout, unsigned n, bool bBackForth);

    /** With bBackForth the inverse disparity is searched along, among the n (with a texture lane n - 1) lowest. */
    WholeRowSums(const WholeRowForm& rForm, const ColumnLayout& rLayout, const Image<unsigned char>& rReference,
                 const Image<unsigned char>& rSearch, unsigned n, bool bBackForth);
    WholeRowSums(const WholeRowSums&) = delete; // rows point into it
    WholeRowSums& operator=(const WholeRowSums&) = delete;

    /**
     * Calls rOutput with the number of every output row, once its pixels are paired; rOutput must find labels or
     * neighbours. Returns the lanes updated.
     */
    template<typename Output>
    unsigned forEachRow(Output&& rOutput)
    {
        unsigned uRows = 0;
        for (int nRow = 0; nRow < m_layout.nRows(); ++nRow) {
            pairRow(nRow);
            if (nRow < m_layout.mask() - 1) {
                m_pForm->add(m_row);
            } else {
                rOutput(nRow - (m_layout.mask() - 1));
                ++uRows;
            }
        }
        return uRows * m_uLanesOfRow;
    }

    void findLabels(const LabelRow& rLabels) { m_pForm->findLabels(m_row, rLabels); }
    void findNeighbours() { m_pForm->findNeighbours(m_row, m_neighbours); }
    void fit(std::uint16_t* pOut, const FitRow& rFit) { m_pForm->fit(pOut, rFit); }

    [[nodiscard]] const NeighbourRow& neighbours() const { return m_neighbours; }
    /** The texture measure of the row's windows; only with a texture lane. */
    [[nodiscard]] const std::uint16_t* texture() const { return m_pTexture; }
    /** Room for a value per pixel, as seeds of a LabelRow. */
    [[nodiscard]] std::uint32_t* seeds() { return m_pSeeds; }

    /** What the call works in, beside the images. */
    [[nodiscard]] std::size_t scratchBytes() const { return m_uScratchBytes; }

    /** The inverse disparity of every search column of the row, plus nFirst; 0 where there is none. */
    const std::uint8_t* inverse(int nFirst);
    /** That of every pixel's match. */
    const std::uint8_t* inverseOfMatches(int nFirst);

private:
    void findRanges();
    void takeScratch();
    void pairRow(int nRow);
    void addTexture(int nRow);
    void sumTexture();

    static constexpr std::size_t sk_uMostRanges = 34; // steps of the widest column, and the rest of the row

    const WholeRowForm* m_pForm;
    ColumnLayout m_layout;
    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
    WholeRow m_row{};
    NeighbourRow m_neighbours{};
    std::array<ColumnRange, sk_uMostRanges> m_ranges{};
    int m_nTextureColumns = 0; // that have a measure
    unsigned m_uLanesOfRow = 0;
    std::size_t m_uScratchBytes = 0;
    std::uint16_t* m_pTextureColumns = nullptr;
    std::uint16_t* m_pTexture = nullptr;
    std::uint32_t* m_pSeeds = nullptr;
    std::uint8_t* m_pInverse = nullptr;
    std::uint8_t* m_pInverseOfMatches = nullptr;
};

} // namespace kestrova
