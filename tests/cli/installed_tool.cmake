# The tool as installed: bin/strobe-quirk and lib/strobe-quirk/ in a fresh
# prefix, away from the build tree. It must find its plug-in there, render
# with it, and say so plainly when the plug-in is gone.
# cmake -DBUILD_DIR=... -DPREFIX=... [-DEMULATOR=...] -P installed_tool.cmake

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${err}")
endif()
file(GLOB installed RELATIVE ${PREFIX} ${PREFIX}/bin/* ${PREFIX}/lib/strobe-quirk/*)
message(STATUS "installed: ${installed}")

set(tool ${EMULATOR} ${PREFIX}/bin/strobe-quirk)
execute_process(COMMAND ${tool} sample --format argb8 --size 16x8 ${PREFIX}/in.raw RESULT_VARIABLE status OUTPUT_QUIET)
execute_process(COMMAND ${tool} render --frame 0 --format argb8 --size 16x8 ${PREFIX}/in.raw ${PREFIX}/out.raw
                RESULT_VARIABLE status ERROR_VARIABLE err)
file(SIZE ${PREFIX}/out.raw size)
if(NOT status EQUAL 0 OR NOT size EQUAL 512)
  message(FATAL_ERROR "the installed tool did not render (${status}): ${err}")
endif()
execute_process(COMMAND ${tool} about RESULT_VARIABLE status OUTPUT_VARIABLE out)
if(NOT status EQUAL 0 OR NOT out MATCHES "^Strobe Quirk\n")
  message(FATAL_ERROR "the installed tool's about box: ${status} ${out}")
endif()

file(RENAME ${PREFIX}/lib ${PREFIX}/lib-moved)
execute_process(COMMAND ${tool} render --frame 0 --format argb8 --size 16x8 ${PREFIX}/in.raw ${PREFIX}/gone.raw
                RESULT_VARIABLE status ERROR_VARIABLE err)
if(NOT status EQUAL 1 OR NOT err MATCHES "no plug-in StrobeQuirk[.a-z]* found .*lib/strobe-quirk/StrobeQuirk"
   OR EXISTS ${PREFIX}/gone.raw)
  message(FATAL_ERROR "without its plug-in the installed tool said (${status}): ${err}")
endif()
file(REMOVE_RECURSE ${PREFIX})
