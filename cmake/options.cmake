# Flags that every target shares.
add_library(nf_options INTERFACE)
target_compile_options(nf_options INTERFACE
  -Wall -Wextra -Wno-missing-field-initializers
  # Parameters may be named as the members they set.
  $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # GCC 12 sees overlaps in std::string that cannot be
  -ffp-contract=off)  # rounding is ours, not the compiler's: results are compared bit for bit
option(NF_WERROR "Treat warnings as errors" OFF)
if(NF_WERROR)
  target_compile_options(nf_options INTERFACE -Werror)
endif()
set(NF_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined")
if(NF_SANITIZE)
  target_compile_options(nf_options INTERFACE -fsanitize=${NF_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(nf_options INTERFACE -fsanitize=${NF_SANITIZE})
endif()
option(NF_FUZZ "Build fuzz/ (needs Clang); everything is instrumented and sanitized" OFF)
if(NF_FUZZ)
  set(fuzz_flags -fsanitize=address,undefined -fno-sanitize-recover=all)
  target_compile_options(nf_options INTERFACE -fsanitize=fuzzer-no-link ${fuzz_flags}
    -fno-omit-frame-pointer)
  target_link_options(nf_options INTERFACE ${fuzz_flags})
endif()
find_package(Threads REQUIRED)
target_link_libraries(nf_options INTERFACE Threads::Threads)
if(MINGW)
  # Spilled vectors must not assume more than the 16-byte stack alignment of Windows.
  target_compile_options(nf_options INTERFACE -Wa,-muse-unaligned-vector-move)
  target_compile_definitions(nf_options INTERFACE UNICODE _UNICODE WINVER=0x0601
    _WIN32_WINNT=0x0601 NOMINMAX WIN32_LEAN_AND_MEAN)
  target_link_options(nf_options INTERFACE -static)
endif()
