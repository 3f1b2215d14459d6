#include "kernels/surface_bits.h"

#include "kernels/InstructionSet.h"

namespace kestrova {

void surfaceBits(SurfaceBits* pOut, const std::uint16_t* pRow, const std::uint16_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint16_t>& rRange)
{
    instructionSet().m_pPixels->surfaceBits16(pOut, pRow, pUp, nBegin, nEnd, rRange);
}

void surfaceBits(SurfaceBits* pOut, const std::uint8_t* pRow, const std::uint8_t* pUp, int nBegin, int nEnd,
                 const SurfaceRange<std::uint8_t>& rRange)
{
    instructionSet().m_pPixels->surfaceBits8(pOut, pRow, pUp, nBegin, nEnd, rRange);
}

} // namespace kestrova
