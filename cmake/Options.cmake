# Build options.
option(VINTREL_BUILD_TESTS "Build the unit and API tests" ON)
option(VINTREL_BUILD_BENCH "Build the Google Benchmark programs" OFF)
option(VINTREL_BUILD_FUZZ "Build the libFuzzer targets (needs clang)" OFF)
option(VINTREL_WERROR "Treat warnings as errors" OFF)
set(VINTREL_SANITIZE "" CACHE STRING "Sanitizers: empty, 'address' (ASan + UBSan) or 'thread'")
set(VINTREL_SHARED_DIR "${CMAKE_CURRENT_SOURCE_DIR}/../shared" CACHE PATH
    "Folder with the evaluation texts used by benchmarks")
