// Where a handle starts threads, and the system may refuse one.
#pragma once

#include "kestrova.h"

#include <boost/thread/exceptions.hpp>

namespace kestrova {

/** What the function returns, or KestrovaErrorSystem when the system refuses it a thread. */
template<class Start>
KestrovaError startingThreads(Start start)
{
    try {
        return start();
    } catch (const boost::thread_exception&) {
        return KestrovaErrorSystem;
    }
}

} // namespace kestrova
