# Flags that every target of ours is compiled with. Warnings are errors: a new one is read, not scrolled past.
add_library(kestrova_warnings INTERFACE)
target_compile_options(kestrova_warnings INTERFACE
  -Wall -Wextra -Werror -Wshadow -Wcast-align
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
