# Looks at the DLL as it is shipped. Variables: DLL, DEF, OBJDUMP, VERSION.

include(${CMAKE_CURRENT_LIST_DIR}/definitionfile.cmake)

execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE dump COMMAND_ERROR_IS_FATAL ANY)
set(checks 0)

function(expect_equal what actual expected)
  if(NOT "${actual}" STREQUAL "${expected}")
    message(FATAL_ERROR "${what}\n  is:       ${actual}\n  expected: ${expected}")
  endif()
  math(EXPR count "${checks} + 1")
  set(checks ${count} PARENT_SCOPE)
endfunction()

# The DLL exports what the definition file lists.
string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table.*" names "${dump}")
string(REGEX MATCHALL "\n\t\\[ *[0-9]+\\] [^\n]+" lines "${names}")
set(exported)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^\n\t\\[ *[0-9]+\\] " "" name "${line}")
  list(APPEND exported "${name}")
endforeach()
list(SORT exported)

read_definition_file(${DEF} defined)

list(LENGTH exported export_count)
if(export_count EQUAL 0)
  message(FATAL_ERROR "no exports found in the dump")
endif()
expect_equal("exports of the DLL against the definition file" "${exported}" "${defined}")

# Nothing but what every Windows has.
string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${dump}")
foreach(import IN LISTS imports)
  string(REPLACE "DLL Name: " "" name "${import}")
  string(TOLOWER "${name}" name)
  if(NOT name MATCHES "^(advapi32|kernel32|msvcrt|setupapi|cfgmgr32|bcrypt)\\.dll$")
    message(FATAL_ERROR "the DLL imports ${name}")
  endif()
endforeach()
list(LENGTH imports import_count)
if(import_count EQUAL 0)
  message(FATAL_ERROR "no imports found in the dump")
endif()
math(EXPR checks "${checks} + 1")

foreach(flag HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT)
  if(NOT dump MATCHES "\n[ \t]+${flag}\n")
    message(FATAL_ERROR "the DLL lacks ${flag}")
  endif()
  math(EXPR checks "${checks} + 1")
endforeach()

# The version resource holds the version in UTF-16.
file(READ ${DLL} content HEX)
string(HEX "${VERSION}" version_hex)
string(REGEX REPLACE "(..)" "\\100" version_utf16 "${version_hex}")
string(HEX "ProductVersion" key_hex)
string(REGEX REPLACE "(..)" "\\100" key_utf16 "${key_hex}")
if(NOT content MATCHES "${key_utf16}0000(0000)?${version_utf16}0000")
  message(FATAL_ERROR "the version resource does not say ${VERSION}")
endif()
math(EXPR checks "${checks} + 1")

message("[  PASSED  ] ${checks} checks of ${DLL}, ${export_count} exports")
