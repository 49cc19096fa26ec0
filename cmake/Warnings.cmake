# kx_warnings: the warnings every target of this project is compiled with. Third-party code does not link it.

add_library(kx_warnings INTERFACE)

# Message texts live in tables and reach the printf family as variables, so -Wformat-nonliteral is left out;
# functions that take a format carry the attribute that checks their callers.
set(kx_format_warnings -Wformat=2 -Wno-format-nonliteral)

set(kx_cxx_warnings
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wconversion
    -Wsign-conversion
    -Wdouble-promotion
    -Wcast-align
    -Wcast-qual
    ${kx_format_warnings}
    -Wimplicit-fallthrough
    -Wundef
    -Wunused
    -Wold-style-cast
    -Wnon-virtual-dtor
    -Woverloaded-virtual
    -Wsuggest-override)
set(kx_c_warnings
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wconversion
    -Wsign-conversion
    -Wcast-align
    -Wcast-qual
    ${kx_format_warnings}
    -Wundef
    -Wstrict-prototypes
    -Wmissing-prototypes)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND kx_cxx_warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wredundant-decls)
  list(APPEND kx_c_warnings -Wduplicated-cond -Wlogical-op -Wredundant-decls)
else()
  # GCC warns of zeros in macros of Windows' own headers, too.
  list(APPEND kx_cxx_warnings -Wzero-as-null-pointer-constant)
endif()

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  target_compile_options(
    kx_warnings INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:${kx_cxx_warnings}>" "$<$<COMPILE_LANGUAGE:C>:${kx_c_warnings}>")
  # A consumer's newer compiler may know warnings that ours does not: only developers are stopped by them.
  if(KXTCP64_DEVELOPER_MODE)
    target_compile_options(kx_warnings INTERFACE "$<$<COMPILE_LANGUAGE:C,CXX>:-Werror>")
  endif()
endif()
