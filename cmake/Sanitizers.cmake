# Instrumentation of a whole native build tree. It is set for the directory, not per target, because the
# test framework has to be built the same way as what it tests.

set(KXTCP64_SANITIZE "" CACHE STRING "Sanitizers for the whole tree, as in -fsanitize=, e.g. address,undefined")
option(KXTCP64_TRAPS "Stop at undefined behaviour and at misuse of the standard library" OFF)
option(KXTCP64_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
option(KXTCP64_COVERAGE "Instrument the whole tree for clang's source-based coverage" OFF)

if(KXTCP64_SANITIZE)
  add_compile_options(-fsanitize=${KXTCP64_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KXTCP64_SANITIZE})
  # Out-of-range subscripts of vectors and strings inside their capacity are invisible to the address sanitizer.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

# A trap ends the process with an illegal instruction, a failed assertion of the library with a message and abort(). The
# test framework is built the same way: containers have another layout with the library's debug mode.
if(KXTCP64_TRAPS)
  add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=undefined,float-cast-overflow,bounds-strict>"
                      "$<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize-undefined-trap-on-error>")
  add_compile_definitions("$<$<COMPILE_LANGUAGE:CXX>:_GLIBCXX_DEBUG>")
endif()

if(KXTCP64_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

if(KXTCP64_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
