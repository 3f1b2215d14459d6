// The entries of the columns' kernels: the form in use does the work.
#include "kernels/InstructionSet.h"

namespace kestrova {

namespace {

const ColumnForm& form()
{
    return *instructionSet().m_pColumns;
}

} // namespace

unsigned mongo_row(const MongoRow& rRow, bool bFirstRow)
{
    return form().mongo_row(rRow, bFirstRow);
}

unsigned mongo_val_row(const MongoRow& rRow, bool bFirstRow)
{
    return form().mongo_val_row(rRow, bFirstRow);
}

void mincorr_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount, int nGroups,
                 bool bSSE2)
{
    form().mincorr_row(pOut, pTable, pLabels, nCount, nGroups, bSSE2);
}

void mincorr_val_row(std::uint8_t* pOut, const std::uint16_t* pTable, const std::uint8_t* pLabels, int nCount,
                     int nGroups, unsigned uTexture, unsigned uUniqueness, bool bSSE2)
{
    form().mincorr_val_row(pOut, pTable, pLabels, nCount, nGroups, uTexture, uUniqueness, bSSE2);
}

} // namespace kestrova
