# Builds are made for scanners with certain USB identifiers: what is given reaches the generated
# header, and what is no identifier ends the configuration. Variables: SOURCE, WORK.

set(checks 0)

# A project of its own, which takes next to no time to configure.
file(WRITE ${WORK}/project/CMakeLists.txt
     "cmake_minimum_required(VERSION 3.25)\n"
     "project(identifiers LANGUAGES NONE)\n"
     "include(\"${SOURCE}/cmake/ScannerIdentifiers.cmake\")\n")

function(configure result error)
  file(REMOVE_RECURSE ${WORK}/build)
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${WORK}/project -B ${WORK}/build ${ARGN}
                  RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE text)
  set(${result} ${status} PARENT_SCOPE)
  set(${error} "${text}" PARENT_SCOPE)
endfunction()

function(expect_header vendor product)
  configure(status error ${ARGN})
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "'${ARGN}' is refused: ${error}")
  endif()
  file(READ ${WORK}/build/generated/scanneridentifiers.h header)
  if(NOT header MATCHES "scannerVendorId = ${vendor};" OR NOT header MATCHES "scannerProductId = ${product};")
    message(FATAL_ERROR "'${ARGN}' gives\n${header}")
  endif()
  math(EXPR count "${checks} + 1")
  set(checks ${count} PARENT_SCOPE)
endfunction()

function(expect_refusal variable value)
  configure(status error "-D${variable}=${value}")
  string(FIND "${error}" "${variable} is \"${value}\" but must be" place)
  if(status EQUAL 0 OR place EQUAL -1)
    message(FATAL_ERROR "${variable} of '${value}' is not refused as it should be: ${error}")
  endif()
  math(EXPR count "${checks} + 1")
  set(checks ${count} PARENT_SCOPE)
endfunction()

expect_header(0x1209 0x0001)
expect_header(0xAbCd 0x1 -DRIDGE_SCANNER_VENDOR_ID=0xAbCd -DRIDGE_SCANNER_PRODUCT_ID=0x1)
foreach(variable RIDGE_SCANNER_VENDOR_ID RIDGE_SCANNER_PRODUCT_ID)
  foreach(value "" 1209 0x 0x12345 0x12G4 "0x12 9" 0X1209 -0x1 4617)
    expect_refusal(${variable} "${value}")
  endforeach()
endforeach()

message("[  PASSED  ] ${checks} checks of the scanners' identifiers")
