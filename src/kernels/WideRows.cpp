#include "kernels/WideRows.h"

namespace kestrova {

const WideRowsForm* wideRows(InstructionSet eSet)
{
    switch (eSet) {
    case InstructionSet::Sse2:
        return &g_wideRowsSse2;
    case InstructionSet::Avx2:
        return &g_wideRowsAvx2;
    case InstructionSet::Avx512:
        return &g_wideRowsAvx512;
    case InstructionSet::Plain:
        break;
    }
    return nullptr;
}

} // namespace kestrova
