# The library has 26 functions. The header, the definition file and the list of functions name the
# same ones. Variables: HEADER, DEF, DOCUMENT.

include(${CMAKE_CURRENT_LIST_DIR}/definitionfile.cmake)

read_definition_file(${DEF} defined)

file(READ ${HEADER} header)
string(REGEX MATCHALL "RIDGE_API [^(;]*(ridge[A-Za-z]+)\\(" declarations "${header}")
set(declared)
foreach(declaration IN LISTS declarations)
  string(REGEX REPLACE ".*(ridge[A-Za-z]+)\\($" "\\1" name "${declaration}")
  list(APPEND declared "${name}")
endforeach()
list(SORT declared)

file(STRINGS ${DOCUMENT} rows REGEX "^\\| `ridge[A-Za-z]+` \\|")
set(documented)
foreach(row IN LISTS rows)
  string(REGEX REPLACE "^\\| `(ridge[A-Za-z]+)`.*" "\\1" name "${row}")
  list(APPEND documented "${name}")
endforeach()
list(SORT documented)

list(LENGTH defined count)
if(NOT count EQUAL 26)
  message(FATAL_ERROR "the definition file names ${count} functions")
endif()
foreach(names declared documented)
  if(NOT "${${names}}" STREQUAL "${defined}")
    message(FATAL_ERROR "${names}: ${${names}}\nexported: ${defined}")
  endif()
endforeach()
message("[  PASSED  ] 3 lists of ${count} functions")
