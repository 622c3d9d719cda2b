# The header has another place in the package than in the source folder: lets the installed pages
# name it there.
set(package $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX})
file(GLOB_RECURSE pages ${package}/docs/*.md ${package}/examples/*.md)
foreach(page IN LISTS pages)
  file(READ ${page} content)
  string(REPLACE "sdk/include/" "include/" linked "${content}")
  if(NOT linked STREQUAL content)
    file(WRITE ${page} "${linked}")
  endif()
endforeach()
