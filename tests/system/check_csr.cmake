# Lets OpenSSL judge the signing requests that the system tests have left. Variables: OPENSSL,
# FOLDER.

function(check file)
  execute_process(COMMAND ${OPENSSL} req -inform DER -in ${FOLDER}/${file} -verify -noout -subject
                          -nameopt utf8,sep_comma_plus
                  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE verdict)
  if(NOT status EQUAL 0 OR NOT verdict MATCHES "verify OK")
    message(FATAL_ERROR "${file} is not accepted: ${verdict}")
  endif()
  foreach(field IN LISTS ARGN)
    string(FIND "${output}" "${field}" place)
    if(place EQUAL -1)
      message(FATAL_ERROR "${file} lacks ${field}: ${output}")
    endif()
  endforeach()
endfunction()

check(callback.der "CN=Prüfstelle Ω" "C=DE" "L=Town" "O=Firm & Sons" "OU=Unit" "ST=State")
check(program.der "CN=Ann" "C=DE" "L=Town" "O=Firm" "OU=Unit" "ST=State")
message("[  PASSED  ] 2 signing requests")
