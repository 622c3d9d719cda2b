# The program that the README shows is the one that is built. Variables: README, EXAMPLE.
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(FIND "${readme}" "```c\n${example}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${EXAMPLE} as it is")
endif()
message("[  PASSED  ] 1 check: the README shows the example as it is")
