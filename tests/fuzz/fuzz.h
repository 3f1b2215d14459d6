// What the fuzz targets share: the entry, a stream over bytes, and a check that ends the run.
#pragma once

#include "pgm/FilePtr.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t uBytes);

namespace kestrova::fuzz {

/** Must hold whatever the bytes are. */
inline void require(bool bOk)
{
    if (!bOk) {
        std::abort();
    }
}

/** A seekable stream over the bytes; they are only read. */
inline FilePtr streamOver(const std::uint8_t* pBytes, std::size_t uBytes)
{
    return FilePtr(fmemopen(const_cast<std::uint8_t*>(pBytes), uBytes, "rb"));
}

} // namespace kestrova::fuzz
