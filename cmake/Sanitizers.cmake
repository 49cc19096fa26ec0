# Instrumentation of a whole native build tree. It is set for the directory, not per target, because the
# test framework has to be built the same way as what it tests.

set(KXTCP64_SANITIZE "" CACHE STRING "Sanitizers for the whole tree, as in -fsanitize=, e.g. address,undefined")
option(KXTCP64_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
option(KXTCP64_COVERAGE "Instrument the whole tree for clang's source-based coverage" OFF)

if(KXTCP64_SANITIZE)
  add_compile_options(-fsanitize=${KXTCP64_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KXTCP64_SANITIZE})
  # Out-of-range subscripts of vectors and strings inside their capacity are invisible to the address sanitizer.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

if(KXTCP64_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

if(KXTCP64_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
