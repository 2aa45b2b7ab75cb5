# Checks that README, a page, contains the exact text of EXAMPLE.
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(STRIP "${example}" example)
string(FIND "${readme}" "${example}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} shows another program than ${EXAMPLE}")
endif()
