# Each SIMD level is compiled in translation units of its own, with that
# level's flags only, so that nothing newer leaks into the portable code.
# A source file's suffix names its level: foo_sse2.cpp, foo_ssse3.cpp,
# foo_sse41.cpp, foo_avx.cpp; every other file is portable. Code that a
# level file instantiates is templated on the level (or lives in a level
# namespace), so the linker can never swap a portable copy for a level copy.
set(OZ_LEVEL_FLAGS_sse2 -msse2)
set(OZ_LEVEL_FLAGS_ssse3 -mssse3)
set(OZ_LEVEL_FLAGS_sse41 -msse4.1)
set(OZ_LEVEL_FLAGS_avx -mavx)

# oz_add_leveled_library(<name> <dir>...): a static library of every .cpp
# in the given folders, each level file built with its own flags.
function(oz_add_leveled_library name)
  set(sources)
  foreach(dir ${ARGN})
    file(GLOB found CONFIGURE_DEPENDS ${dir}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  add_library(${name} STATIC ${sources})
  foreach(source ${sources})
    foreach(level sse2 ssse3 sse41 avx)
      if(source MATCHES "_${level}\\.cpp$")
        set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "${OZ_LEVEL_FLAGS_${level}}")
      endif()
    endforeach()
  endforeach()
endfunction()
