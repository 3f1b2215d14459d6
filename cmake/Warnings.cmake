# Flags that every target of ours is compiled with. In the presets, and so in CI, warnings are errors: a new one is read,
# not scrolled past. Elsewhere a compiler that we do not know may find more, and is no reason to build nothing.
option(KESTROVA_WERROR "Treat warnings as errors" OFF)
add_library(kestrova_warnings INTERFACE)
target_compile_options(kestrova_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wcast-align $<$<BOOL:${KESTROVA_WERROR}>:-Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wconversion -Wno-sign-conversion -Wnon-virtual-dtor>)

# Disparities and points are the same bytes on every machine: no contraction into fused multiply-add.
add_library(kestrova_exact INTERFACE)
target_compile_options(kestrova_exact INTERFACE -ffp-contract=off)

# Sanitizers come from the preset, as one list for compiler and linker.
set(KESTROVA_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(KESTROVA_SANITIZE)
  add_compile_options(-fsanitize=${KESTROVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KESTROVA_SANITIZE})
endif()

# Counts edges for the fuzzers, which link the rest themselves.
if(KESTROVA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()
