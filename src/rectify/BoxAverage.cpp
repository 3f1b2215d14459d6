#include "rectify/BoxAverage.h"

#include "kernels/kernels.h"
#include "kernels/processor.h"

namespace kestrova {

BoxAverage::BoxAverage(const BoxPass& rPass, const Image<unsigned char>& rSrc)
    : m_rInterior(rPass.m_rInterior), m_rSrc(rSrc), m_rSums(rPass.m_rSums), m_rBox(rPass.m_rBox),
      m_nScale(rPass.m_nScale), m_bSSE2(sse2Enabled()), m_pForm(ColumnBox::formFor(rPass.m_nMaskCols))
{
    if (m_pForm != nullptr) {
        m_columns.emplace(*m_pForm, rSrc, rPass.m_nMaskRows, rPass.m_nMaskCols);
    }
}

int BoxAverage::addRow()
{
    const int nRow = m_nNext++;
    return m_columns ? m_columns->addRow() : m_rBox.add(m_rSrc[nRow], m_rSrc.nCols(), m_bSSE2);
}

void BoxAverage::writeRow(int nRow)
{
    if (nRow < 0) {
        return;
    }
    std::uint8_t* const pOut = &m_rInterior[nRow][0];
    const int nOut = m_rInterior.nCols();
    if (m_columns) {
        m_pForm->packSums(pOut, m_columns->row(nOut), m_nScale);
    } else {
        row_pack_op(pOut, nOut, &m_rSums[nRow][0], m_nScale);
    }
}

} // namespace kestrova
