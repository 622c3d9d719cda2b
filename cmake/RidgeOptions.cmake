# What every target of the project is compiled and linked with.

add_library(ridge-warnings INTERFACE)
if(MSVC)
  target_compile_options(ridge-warnings INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus)
  # The standard's own functions are good enough, and std::min and std::max are no macros.
  target_compile_definitions(ridge-warnings INTERFACE _CRT_SECURE_NO_WARNINGS NOMINMAX)
else()
  target_compile_options(
    ridge-warnings
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wconversion
              -Wsign-conversion
              -Wcast-qual
              -Wformat=2
              -Wundef
              -Werror
              $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
              $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
              $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
              $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wreserved-identifier>)
endif()

# No path of the building machine in the files: two folders give the same bytes. Debug information
# names sources as the source folder does.
add_library(ridge-reproducible INTERFACE)
if(NOT MSVC)
  target_compile_options(
    ridge-reproducible
    INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
              "-ffile-prefix-map=${PROJECT_BINARY_DIR}/="
              "-fdebug-prefix-map=${PROJECT_BINARY_DIR}=.")
endif()
if(MINGW)
  target_link_options(ridge-reproducible INTERFACE -Wl,--no-insert-timestamp)
endif()

add_library(ridge-options INTERFACE)
target_compile_features(ridge-options INTERFACE cxx_std_20 c_std_11)
target_link_libraries(ridge-options INTERFACE ridge-warnings ridge-reproducible)
if(MINGW)
  target_compile_options(ridge-options INTERFACE -fstack-protector-strong)
  target_compile_definitions(ridge-options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  target_link_options(ridge-options INTERFACE -static -fstack-protector-strong)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # GCC adds the stack protector's library by itself.
    target_link_libraries(ridge-options INTERFACE ssp)
  endif()
endif()

if(RIDGE_SANITIZE)
  add_compile_options(-fsanitize=${RIDGE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${RIDGE_SANITIZE})
endif()

option(RIDGE_BUILD_TOGETHER "Compile several sources of the tests and the program at a time" ON)

# Compiles several of a target's sources as one: where each of them is short and the headers that
# they include are long, that takes half the time.
function(ridge_build_together target)
  if(RIDGE_BUILD_TOGETHER)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # The compiler sees sources included and takes their unnamed namespaces for those of headers.
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
    endif()
  endif()
endfunction()

# Moves a program's or library's debug information into a file of its own beside it.
function(ridge_split_debug_information target)
  if(MINGW)
    # Both tools write the time into the header unless they are given one.
    set(at_no_time ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0)
    add_custom_command(
      TARGET ${target}
      POST_BUILD
      COMMAND ${at_no_time} ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}>
              $<TARGET_FILE:${target}>.debug
      COMMAND ${at_no_time} ${CMAKE_STRIP} --strip-debug $<TARGET_FILE:${target}>
      COMMAND ${at_no_time} ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
              $<TARGET_FILE:${target}>
      VERBATIM)
  endif()
endfunction()

# A header-only library, whose headers are included from the folder `entry`. A cross compiler must
# not see the folder of the build machine that it lies in, which holds the headers of another system
# too: it gets a folder with this library alone. Some package managers put headers, named by further
# arguments, beside those of others: they get their folder here.
function(ridge_header_library target entry)
  set(headers ${PROJECT_BINARY_DIR}/header-libraries/${target})
  find_path(
    ${target}-folder
    NAMES ${entry} ${ARGN}
    PATHS /usr/include
    NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  if(NOT EXISTS ${${target}-folder}/${entry})
    foreach(header IN LISTS ARGN)
      file(COPY ${${target}-folder}/${header} DESTINATION ${headers}/${entry})
    endforeach()
  elseif(CMAKE_HOST_WIN32)
    set(headers ${${target}-folder})
  else()
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK ${${target}-folder}/${entry} ${headers}/${entry} SYMBOLIC)
  endif()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${headers})
endfunction()
