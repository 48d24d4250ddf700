# The targets `tidy` and `coverage`; the presets of the same names build them.
include(ProcessorCount)
ProcessorCount(processors)

find_program(RUN_CLANG_TIDY NAMES run-clang-tidy-14 run-clang-tidy)
if(RUN_CLANG_TIDY)
  # Its one-line summary of a thousand files is not wanted; findings are, and its exit status.
  add_custom_target(tidy
    COMMAND ${RUN_CLANG_TIDY} -quiet -p ${PROJECT_BINARY_DIR} -j ${processors}
            "${PROJECT_SOURCE_DIR}/(engine|cli|app|fuzz|tests|bench)/"
    USES_TERMINAL VERBATIM)
  if(TARGET nullprint-app-tests) # Some of them include what is made of them.
    add_dependencies(tidy nullprint-app-tests_autogen)
  endif()
endif()

# The processes that the tests start are counted as well. Left out are the tests that fail writes on
# purpose, which would fail those of the counters, too, and that hold bounds which counters exceed.
find_program(GCOVR gcovr)
if(GCOVR AND NULLPRINT_TESTS)
  add_custom_target(coverage
    COMMAND ${CMAKE_COMMAND} -E remove -f coverage.html
    COMMAND find . -name *.gcda -delete
    COMMAND ${CMAKE_CTEST_COMMAND} --output-on-failure -j ${processors}
            -R "^(unit|command-line)" -E "faults|syscalls|changing|names|delivered|documents|hostile|office"
    COMMAND ${GCOVR} -j ${processors} --root ${PROJECT_SOURCE_DIR}
            --object-directory ${PROJECT_BINARY_DIR} --filter ${PROJECT_SOURCE_DIR}/engine/
            --filter ${PROJECT_SOURCE_DIR}/cli/
            --exclude-throw-branches --exclude-unreachable-branches
            --print-summary --txt ${PROJECT_BINARY_DIR}/coverage.txt
            --html-details ${PROJECT_BINARY_DIR}/coverage.html ${PROJECT_BINARY_DIR}
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    USES_TERMINAL VERBATIM)
  add_dependencies(coverage nullprint nullprint-tests)
endif()
