# Which scanners the library finds: those with these USB identifiers. Discovery, the program and the
# simulated scanner take them from the generated header.

# The defaults are for development: the simulated scanner uses them, and no product owns them.
set(RIDGE_SCANNER_VENDOR_ID 0x1209 CACHE STRING "USB vendor identifier of the scanners, such as 0x1209")
set(RIDGE_SCANNER_PRODUCT_ID 0x0001 CACHE STRING "USB product identifier of the scanners, such as 0x0001")

foreach(identifier RIDGE_SCANNER_VENDOR_ID RIDGE_SCANNER_PRODUCT_ID)
  if(NOT "${${identifier}}" MATCHES "^0x[0-9A-Fa-f][0-9A-Fa-f]?[0-9A-Fa-f]?[0-9A-Fa-f]?$")
    message(FATAL_ERROR "${identifier} is \"${${identifier}}\" but must be 0x and one to four "
                        "hexadecimal digits, such as 0x1209")
  endif()
endforeach()

configure_file(${CMAKE_CURRENT_LIST_DIR}/scanneridentifiers.h.in
               ${CMAKE_CURRENT_BINARY_DIR}/generated/scanneridentifiers.h @ONLY)
add_library(ridge-scanner-identifiers INTERFACE)
target_include_directories(ridge-scanner-identifiers INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/generated)
