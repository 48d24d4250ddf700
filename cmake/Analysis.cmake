# The targets `tidy` and `coverage`; the presets of the same names build them.
include(ProcessorCount)
ProcessorCount(processors)

find_program(RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy)
if(RUN_CLANG_TIDY)
  # Its one-line summary of a thousand files is not wanted; findings are, and its exit status.
  add_custom_target(tidy
    COMMAND ${RUN_CLANG_TIDY} -quiet -p ${PROJECT_BINARY_DIR} -j ${processors}
            "${PROJECT_SOURCE_DIR}/(engine|cli|app|fuzz)/"
    USES_TERMINAL VERBATIM)
endif()

find_program(GCOVR gcovr)
if(GCOVR)
  add_custom_target(coverage
    COMMAND ${CMAKE_CTEST_COMMAND} --output-on-failure -j ${processors}
    COMMAND ${GCOVR} --root ${PROJECT_SOURCE_DIR} --object-directory ${PROJECT_BINARY_DIR}
            --filter engine/ --filter cli/ --exclude-throw-branches --print-summary
            --html-details ${PROJECT_BINARY_DIR}/coverage.html
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    USES_TERMINAL VERBATIM)
  if(TARGET nullprint-tests)
    add_dependencies(coverage nullprint nullprint-tests)
  endif()
endif()
