# The C++ header uses each of the library's functions. Variables: DEF, HEADER, DEFINITION_FILE.

include(${DEFINITION_FILE})

read_definition_file(${DEF} defined)
file(READ ${HEADER} header)
# What the comments say of a function is no use of it.
string(REGEX REPLACE "/\\*([^*]|\\*+[^*/])*\\*+/" "" code "${header}")
foreach(name IN LISTS defined)
  if(NOT code MATCHES "${name}[^A-Za-z]")
    message(FATAL_ERROR "${HEADER} does not use ${name}")
  endif()
endforeach()
list(LENGTH defined count)
message("[  PASSED  ] ${count} functions")
