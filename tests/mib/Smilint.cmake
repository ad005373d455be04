# Runs smilint -l 3 over one module and fails on any message it prints.
#   cmake -DSMILINT=<smilint> -DMODULE=<file> -DMIB_DIRS=<dir>|<dir>... -P Smilint.cmake
# The module's imports are searched in the MIB_DIRS that exist, in the order given. With
# none of them present the check cannot run: it says so and the test counts as skipped.

string(REPLACE "|" ";" candidates "${MIB_DIRS}")
set(found "")
foreach(dir IN LISTS candidates)
   if(IS_DIRECTORY "${dir}")
      get_filename_component(dir "${dir}" REALPATH)
      list(APPEND found "${dir}")
   endif()
endforeach()
if(NOT found)
   message("no directory with the IETF MIB modules: looked in ${candidates}")
   return()
endif()

string(REPLACE ";" ":" search_path "${found}")
set(ENV{SMIPATH} "${search_path}")
execute_process(
   COMMAND "${SMILINT}" -l 3 "${MODULE}"
   RESULT_VARIABLE result
   OUTPUT_VARIABLE output
   ERROR_VARIABLE output
)
if(NOT result EQUAL 0 OR NOT output STREQUAL "")
   message(FATAL_ERROR "smilint -l 3 ${MODULE} (SMIPATH=${search_path}) exited ${result}:\n${output}")
endif()
message("smilint -l 3: no message for ${MODULE} (SMIPATH=${search_path})")
