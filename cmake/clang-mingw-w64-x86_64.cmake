# As mingw-w64-x86_64.cmake, compiled by clang. It does not find the files of GCC's POSIX variant by
# itself, and must not look at the build machine's own headers.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake)

execute_process(
  COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(system_headers "-nostdlibinc -idirafter /usr/x86_64-w64-mingw32/include")
set(CMAKE_C_FLAGS_INIT "${system_headers}")
set(CMAKE_CXX_FLAGS_INIT
    "${system_headers} -isystem ${gcc}/include/c++ -isystem ${gcc}/include/c++/x86_64-w64-mingw32")

find_program(MINGW_LINKER x86_64-w64-mingw32-ld REQUIRED)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-B${gcc} -L${gcc} -fuse-ld=${MINGW_LINKER} -pthread")
endforeach()
foreach(tool AR RANLIB STRIP OBJCOPY OBJDUMP DLLTOOL)
  string(TOLOWER x86_64-w64-mingw32-${tool} name)
  find_program(CMAKE_${tool} ${name} REQUIRED)
endforeach()
