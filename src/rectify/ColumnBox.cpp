#include "rectify/ColumnBox.h"

#include "kernels/InstructionSet.h"

#include <vector>

namespace kestrova {

namespace {

thread_local std::vector<std::uint16_t> t_columns;

std::uint16_t* columnsFor(int nCols)
{
    const auto uCols = static_cast<std::size_t>(nCols);
    if (t_columns.size() < uCols) {
        t_columns.resize(uCols);
    }
    return t_columns.data();
}

} // namespace

ColumnBox::ColumnBox(const WideRowsForm& rForm, const Image<unsigned char>& rSrc, int nMaskRows, int nMaskCols)
    : m_rForm(rForm), m_rSrc(rSrc), m_nMaskRows(nMaskRows), m_nMaskCols(nMaskCols), m_pColumns(columnsFor(rSrc.nCols()))
{}

const WideRowsForm* ColumnBox::formFor(int nMaskCols)
{
    return nMaskCols <= sk_nWidestColumnMask ? instructionSet().m_pWideRows : nullptr;
}

int ColumnBox::addRow()
{
    const int nRow = m_nNext++;
    const std::uint8_t* const pLeaving = nRow < m_nMaskRows ? nullptr : &m_rSrc[nRow - m_nMaskRows][0];
    m_rForm.addRow(m_pColumns, &m_rSrc[nRow][0], pLeaving, nRow == 0, m_rSrc.nCols());
    return nRow + 1 - m_nMaskRows;
}

} // namespace kestrova
