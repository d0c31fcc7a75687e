# Fails unless the shared library MODULE exports the functions EXPORTS (separated by commas) and nothing
# else, and needs no shared libraries but those of the language and the platform.
# Run with cmake -D NM=... -D OBJDUMP=... -D MODULE=... -D EXPORTS=... -P.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} --dynamic --defined-only --format=posix ${MODULE}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
# "name type address size", of which the type must be T, a function of strong binding.
list(TRANSFORM symbols REPLACE "^([^ ]+) T .*$" "\\1")
list(SORT symbols)
string(REPLACE "," ";" expected "${EXPORTS}")
list(SORT expected)
if(NOT symbols STREQUAL expected)
  message(SEND_ERROR "${MODULE} exports\n  ${symbols}\ninstead of\n  ${expected}")
endif()

execute_process(COMMAND ${OBJDUMP} --private-headers ${MODULE} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "NEEDED +[^\n]+" needed "${headers}")
if(NOT needed)
  message(SEND_ERROR "no needed libraries found in the headers of ${MODULE}:\n${headers}")
endif()
# The last three are the sanitizers', in builds that have them.
set(everywhere "^NEEDED +(lib(stdc\\+\\+|gcc_s|m|c|pthread|dl|asan|ubsan|tsan)|ld-linux[^.]*)\\.so")
list(FILTER needed EXCLUDE REGEX "${everywhere}")
if(needed)
  message(SEND_ERROR "${MODULE} must not need\n  ${needed}")
endif()
