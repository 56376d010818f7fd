# The vocabulary of this project's build: one library a source folder, its tests beside it, found by
# name. A folder's own CMakeLists.txt says only what it uses.

add_library(tasklane_options INTERFACE)
target_compile_options(tasklane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
target_include_directories(tasklane_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
if(TASKLANE_SANITIZE)
  target_compile_definitions(tasklane_options INTERFACE TASKLANE_SANITIZED)
  target_compile_options(tasklane_options INTERFACE
    -fsanitize=${TASKLANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tasklane_options INTERFACE -fsanitize=${TASKLANE_SANITIZE})
else()
  # What Debian asks of its packages (dpkg-buildflags, "hardening"), so that what is measured and tested is what is shipped.
  target_compile_options(tasklane_options INTERFACE -fstack-protector-strong -Wformat -Werror=format-security -Wdate-time
    $<$<CONFIG:RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
  # Positions are relocated in the packed form, which makes position-independent programs no larger.
  target_link_options(tasklane_options INTERFACE LINKER:-z,relro LINKER:-z,pack-relative-relocs)
endif()

find_package(Threads REQUIRED)
if(TASKLANE_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# Every file of this folder and the rooms below it that have no CMakeLists.txt of their own.
function(tasklane_files result pattern)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${pattern})
  file(GLOB_RECURSE others */CMakeLists.txt)
  list(TRANSFORM others REPLACE "CMakeLists.txt$" "")
  list(REMOVE_ITEM others "${CMAKE_CURRENT_SOURCE_DIR}/")
  set(own)
  foreach(file IN LISTS files)
    set(is_own ON)
    foreach(folder IN LISTS others)
      string(FIND "${file}" "${folder}" at)
      if(at EQUAL 0)
        set(is_own OFF)
      endif()
    endforeach()
    if(is_own)
      list(APPEND own "${file}")
    endif()
  endforeach()
  set(${result} ${own} PARENT_SCOPE)
endfunction()

# tasklane_library(NAME [WHOLE] [USES target...] [PRIVATE_USES target...])
#
# Makes the static library tasklane_NAME of every .cpp file of this folder and its rooms, tests and
# programs' mains left out. USES is what its headers need, PRIVATE_USES what only its sources need. WHOLE is for what
# answers calls of a library beneath it: a program that names it gets all of it, wherever it stands
# among the libraries.
function(tasklane_library name)
  cmake_parse_arguments(ARG "WHOLE" "" "USES;PRIVATE_USES" ${ARGN})
  set(kind STATIC)
  if(ARG_WHOLE)
    set(kind OBJECT)
  endif()
  tasklane_files(sources *.cpp)
  list(FILTER sources EXCLUDE REGEX "_(test|fuzz|testmain)\\.cpp$")
  if(NOT sources)
    add_library(tasklane_${name} INTERFACE)
    target_link_libraries(tasklane_${name} INTERFACE tasklane_options ${ARG_USES})
    return()
  endif()
  add_library(tasklane_${name} ${kind} ${sources})
  target_link_libraries(tasklane_${name}
    PUBLIC tasklane_options ${ARG_USES} PRIVATE ${ARG_PRIVATE_USES} Threads::Threads)
endfunction()

# A program that stands outside the bundle is told where the bundle's picture decoder is.
function(tasklane_uses_picture_decoder target)
  target_sources(${target} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/BuiltPictureDecoder.cpp)
  set_property(SOURCE ${CMAKE_SOURCE_DIR}/cmake/BuiltPictureDecoder.cpp
    TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_DEFINITIONS
    TASKLANE_PICTURE_DECODER="${CMAKE_BINARY_DIR}/Tasklane.app/Helpers/picture-decoder")
  add_dependencies(${target} picture-decoder)
endfunction()

# tasklane_tests(NAME [MAIN main.cpp] [USES target...] [ENVIRONMENT VAR=value...] [SOURCES extra...]
#                [LABELS label...])
#
# Makes one test program of every *_test.cpp file of this folder and its rooms, and registers each of
# its tests. Names of programs that a test starts are passed to it as environment variables. The label "threads"
# is for what the thread sanitiser should see.
function(tasklane_tests name)
  if(NOT TASKLANE_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "MAIN" "USES;ENVIRONMENT;SOURCES;LABELS" ${ARGN})
  tasklane_files(sources *_test.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_test ${sources} ${ARG_MAIN} ${ARG_SOURCES})
  # Optimising what runs once takes longer than it saves: two fifths of a test's compilation.
  if(TASKLANE_SANITIZE)
    target_compile_options(${name}_test PRIVATE -O0)
  else()
    target_compile_options(${name}_test PRIVATE $<$<CONFIG:RelWithDebInfo>:-O1>)
  endif()
  tasklane_uses_picture_decoder(${name}_test)
  target_link_libraries(${name}_test PRIVATE ${ARG_USES} GTest::gmock
    $<$<NOT:$<BOOL:${ARG_MAIN}>>:GTest::gmock_main>)
  set(properties TIMEOUT 300)
  foreach(property ENVIRONMENT LABELS)
    if(ARG_${property})  # an empty value would be lost, and the next name taken for it
      list(APPEND properties ${property} "${ARG_${property}}")
    endif()
  endforeach()
  gtest_discover_tests(${name}_test DISCOVERY_TIMEOUT 120 DISCOVERY_MODE PRE_TEST
    PROPERTIES ${properties})
endfunction()

# tasklane_fuzzers([USES target...])
#
# Makes a program of every *_fuzz.cpp file of this folder and its rooms. Each is called with seconds
# and a seed; a short run of each is a test.
function(tasklane_fuzzers)
  if(NOT TASKLANE_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
  tasklane_files(sources *_fuzz.cpp)
  foreach(source IN LISTS sources)
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE ${ARG_USES})
    add_test(NAME ${name} COMMAND ${name} 2 1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 120)
  endforeach()
endfunction()

# tasklane_framework(NAME source... [USES target...])
#
# Makes a module of the application's folder Frameworks, for what stands on a library that most commands do without: see
# src/delivery/Framework.h. What it shares with the program is its own copy, so that neither depends on the
# other's symbols.
function(tasklane_framework name)
  cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
  add_library(tasklane_${name}_framework MODULE ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(tasklane_${name}_framework PRIVATE tasklane_options ${ARG_USES})
  target_link_options(tasklane_${name}_framework PRIVATE LINKER:--exclude-libs,ALL LINKER:--no-undefined)
  set_target_properties(tasklane_${name}_framework PROPERTIES
    PREFIX "" OUTPUT_NAME ${name} CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/Tasklane.app/Frameworks)
  set_property(GLOBAL APPEND PROPERTY TASKLANE_FRAMEWORKS tasklane_${name}_framework)
endfunction()

# A program that stands outside the bundle is told where the bundle's modules are.
function(tasklane_uses_frameworks target)
  target_sources(${target} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/BuiltFrameworks.cpp)
  target_compile_definitions(${target} PRIVATE TASKLANE_FRAMEWORKS="${CMAKE_BINARY_DIR}/Tasklane.app/Frameworks")
  get_property(frameworks GLOBAL PROPERTY TASKLANE_FRAMEWORKS)
  add_dependencies(${target} ${frameworks})
endfunction()
