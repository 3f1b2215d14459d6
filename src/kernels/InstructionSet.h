// The registry of instruction sets: one row a set, with all its forms. Everything that picks a form asks it.
//
// The choice never changes a byte of a result. That is what the SSE2 switch in processor.h is for, and the two know
// nothing of each other: the switch says how many lanes decide a tie, this file how wide the registers are that find
// out. Tests and benchmarks force another set; a pass asks once, on entry.
//
// A set more is a folder of forms, a row of the table in InstructionSet.cpp, and a line of CMakeLists.txt for its
// flags. Forms that it does not have it takes from a set whose processors it runs on, or from the plain one; no set
// stands above another otherwise.
#pragma once

#include "kernels/ColumnForm.h"
#include "kernels/PixelForm.h"
#include "kernels/WholeRow.h"
#include "kernels/WideRows.h"
#include "kernels/kernels.h"

#include <span>

namespace kestrova {

/** One that can run here. They live as long as the process, and each is one object. */
struct InstructionSet
{
    const char* m_pszName;
    bool m_bReference; // takes the straightforward ways that all others are held to, also where no form is asked for
    KernelForm m_aRowKernels[2]; // with the results of four-lane and of eight-lane groups
    const ColumnForm* m_pColumns;
    const PixelForm* m_pPixels;
    const WholeRowForm* m_pWholeRows; // null: column by column
    const WideRowsForm* m_pWideRows;  // null: pixel by pixel
};

/** Every set that processor and operating system offer together, the plain one first, the best last. */
[[nodiscard]] std::span<const InstructionSet* const> supportedInstructionSets();

/** The set in use: the best, unless another was forced. */
[[nodiscard]] const InstructionSet& instructionSet();

/** For the whole process, from the next pass on. One of those supported. */
void forceInstructionSet(const InstructionSet& rSet);

} // namespace kestrova
