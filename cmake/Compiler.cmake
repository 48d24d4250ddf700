# Warnings are errors, indexes are checked, and the usual hardening is on, in every build.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_compile_definitions(_GLIBCXX_ASSERTIONS _FILE_OFFSET_BITS=64)
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Werror
                    -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wshadow=local)
else()
  add_compile_options(-Wshadow-uncaptured-local)
endif()

set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g")
add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)

include(CheckPIESupported)
check_pie_supported()
