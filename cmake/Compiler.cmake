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

# What costs a delivered program little and a sanitizer its precision. A distribution's own flags
# come first, hence the -U. Paths of the build do not get into the program: whoever builds a commit
# gets the same bytes.
set(hardening -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
              -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection=full HAS_CF_PROTECTION) # x86 only.
if(HAS_CF_PROTECTION)
  list(APPEND hardening -fcf-protection=full)
endif()
add_compile_options("$<$<CONFIG:Release>:${hardening}>")

set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g")
add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)

include(CheckPIESupported)
check_pie_supported()
