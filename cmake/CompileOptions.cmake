# Options that every target of the project is built with: warnings as errors, the hardening of
# release builds, the sanitizer of the preset, the folder of the storage headers.

set(JORVCK_SANITIZE "" CACHE STRING "Sanitizers, as in -fsanitize=; empty for none")

option(JORVCK_COVERAGE "Count which lines and branches are run (scripts/coverage)" OFF)

add_library(jorvck_options INTERFACE)
add_library(jorvck::options ALIAS jorvck_options)

target_compile_options(jorvck_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2
    -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 sees overlapping copies in the concatenation of any text with a literal.
    target_compile_options(jorvck_options INTERFACE -Wno-restrict)
endif()
target_compile_definitions(jorvck_options INTERFACE
    _FILE_OFFSET_BITS=64
    # The path-append rule that the checker's messages rest on is that of version 3.
    BOOST_FILESYSTEM_VERSION=3
    BOOST_FILESYSTEM_NO_DEPRECATED)
# The headers of an external storage library stand before the project's own, for every target: the
# checker must see the classes as the library was built with them. What that folder lacks is taken
# from the project.
target_include_directories(jorvck_options INTERFACE ${JORV_STORAGE_INCLUDE_DIR} ${PROJECT_SOURCE_DIR})
if(JORVCK_STORAGE STREQUAL "reference")
    # Not with another's headers: their warnings are not the project's to mend. Nor where whoever
    # builds, with a compiler that is not known here, says otherwise.
    set(CMAKE_COMPILE_WARNING_AS_ERROR ON CACHE BOOL "Treat warnings as errors")
endif()

if(JORVCK_COVERAGE)
    # Atomic, since the file data check counts from several threads.
    target_compile_options(jorvck_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(jorvck_options INTERFACE --coverage)
endif()

if(JORVCK_SANITIZE)
    target_compile_options(jorvck_options INTERFACE
        -fsanitize=${JORVCK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(jorvck_options INTERFACE -fsanitize=${JORVCK_SANITIZE})
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_options(jorvck_options INTERFACE
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS
        -fstack-protector-strong -fstack-clash-protection -fPIE)
    # A library that nothing is used of would be loaded all the same, by each of the thousands of runs
    # of the checker that an audit makes.
    target_link_options(jorvck_options INTERFACE
        -pie -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()
