# Fails if the library itself calls what importedcalls.cpp leaves to the runtime. Needs NM, TABLE and
# LIBRARIES, separated by commas.
file(READ ${TABLE} table)
string(REGEX MATCH "ofRuntime = [^;]*;" list "${table}")
string(REGEX MATCHALL "\"[A-Za-z0-9_]+\"" names "${list}")
string(REPLACE "\"" "" names "${names}")
if(NOT names)
  message(FATAL_ERROR "${TABLE} names no functions of the runtime")
endif()

string(REPLACE "," ";" libraries "${LIBRARIES}")
execute_process(COMMAND ${NM} --undefined-only --format=posix ${libraries}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES "\n__imp_CreateFileA U")
  message(FATAL_ERROR "the library's calls are not listed")
endif()
foreach(name IN LISTS names)
  if(symbols MATCHES "\n(__imp_)?${name} U")
    message(FATAL_ERROR "the library calls ${name}")
  endif()
endforeach()

list(LENGTH names count)
message("[  PASSED  ] ${count} functions that the library does not call")
