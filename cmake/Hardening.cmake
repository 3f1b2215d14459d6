# What turns an overrun that no test found into an end of the program instead of something worse.
# Sanitizers bring checks of their own.
option(KESTROVA_HARDEN "Build with checked calls of the C library, stack protectors and read-only relocations" ON)

add_library(kestrova_hardened INTERFACE)
if(KESTROVA_HARDEN AND NOT KESTROVA_SANITIZE)
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>) # the checked calls need the optimiser
  target_compile_options(kestrova_hardened INTERFACE
    -fstack-protector-strong $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
  target_link_options(kestrova_hardened INTERFACE -Wl,-z,relro,-z,now)
endif()
