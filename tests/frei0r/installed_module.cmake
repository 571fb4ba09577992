# The module as installed: cmake --install puts strobe_quirk.so flat into
# lib/frei0r-1/ under the prefix, the folder the hosts search, and with
# FFMPEG set, ffmpeg loads it from there through FREI0R_PATH.
# cmake -DBUILD_DIR=... -DPREFIX=... [-DFFMPEG=...] -P installed_module.cmake

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${err}")
endif()
file(GLOB_RECURSE installed RELATIVE ${PREFIX}/lib/frei0r-1 LIST_DIRECTORIES true ${PREFIX}/lib/frei0r-1/*)
if(NOT installed STREQUAL "strobe_quirk.so")
  message(FATAL_ERROR "lib/frei0r-1 holds \"${installed}\", not strobe_quirk.so alone")
endif()

if(FFMPEG)
  set(ENV{FREI0R_PATH} ${PREFIX}/lib/frei0r-1)
  execute_process(COMMAND ${FFMPEG} -nostdin -v error -f lavfi -i color=c=white:s=16x8:d=0.08
                          -vf frei0r=filter_name=strobe_quirk -f null -
                  RESULT_VARIABLE status ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "ffmpeg did not load the installed module (${status}): ${err}")
  endif()
endif()
file(REMOVE_RECURSE ${PREFIX})
