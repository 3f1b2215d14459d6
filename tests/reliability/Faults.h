// Memory and threads that are refused on demand: the operators, the functions of the malloc family as the library calls
// them, and the start of threads, interposed in the program that links Faults.cpp.
#pragma once

namespace kestrova::test {

enum class Fault
{
    None,
    Memory, // on whichever thread
    Thread
};

/** Lets nBefore requests of the kind pass and refuses the next one. */
void refuse(Fault eKind, int nBefore);
/** Ends that; whether a request was refused. */
bool refused();
/** Blocks that the operators and functions gave and have not got back. */
long liveBlocks();

} // namespace kestrova::test
