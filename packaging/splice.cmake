# Puts generated parts into a text: cmake -D TEXT=file -D "PARTS=name=file;..." -D OUTPUT=file -P.
# The place of a part is a line "@name@"; in a manual page it begins a paragraph, which the part
# does by itself.
file(READ ${TEXT} text)
foreach(part IN LISTS PARTS)
  string(REGEX MATCH "^([^=]+)=(.*)$" matched ${part})
  set(place "@${CMAKE_MATCH_1}@\n")
  file(READ ${CMAKE_MATCH_2} content)
  string(FIND "${text}" "${place}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "${TEXT} has no line ${place}")
  endif()
  string(REPLACE "\n.P\n${place}" "\n${place}" text "${text}")
  string(REPLACE "${place}" "${content}" text "${text}")
endforeach()
file(WRITE ${OUTPUT} "${text}")
