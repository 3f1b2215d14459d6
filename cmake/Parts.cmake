# What is built beside the library: each part as the machine has the packages for it.
#
#   kestrova_part(<NAME> <what it is> <package>...)
#
# gives the switch KESTROVA_BUILD_<NAME>: AUTO builds the part when all its packages are found and says so when they are
# not, ON makes a missing one an error, OFF leaves the part out. Inside another project AUTO means OFF. Sets
# KESTROVA_HAS_<NAME> to what came of it; dependent parts look at that.
function(kestrova_part name what)
  set(switch KESTROVA_BUILD_${name})
  set(${switch} AUTO CACHE STRING "Build ${what}: AUTO, ON or OFF")
  set_property(CACHE ${switch} PROPERTY STRINGS AUTO ON OFF)
  set(has ${${switch}})
  if("${has}" STREQUAL "AUTO")
    set(has ${PROJECT_IS_TOP_LEVEL})
    foreach(package IN LISTS ARGN)
      if(has)
        find_package(${package} QUIET)
        if(NOT ${package}_FOUND)
          message(STATUS "Left out: ${what}, for want of ${package}")
          set(has OFF)
        endif()
      endif()
    endforeach()
  elseif(has)
    foreach(package IN LISTS ARGN)
      find_package(${package} REQUIRED)
    endforeach()
  endif()
  set(KESTROVA_HAS_${name} ${has} PARENT_SCOPE)
endfunction()
