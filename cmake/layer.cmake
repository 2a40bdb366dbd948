# nf_layer(NAME [DEPENDS layer...] [EXCLUDE regex...]): a static library nf_NAME from every source
# below the current folder, except the platform rooms of other systems and what EXCLUDE matches.
function(nf_layer name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;EXCLUDE" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "/posix/")
  else()
    list(FILTER sources EXCLUDE REGEX "/windows/")
  endif()
  foreach(pattern IN LISTS ARG_EXCLUDE)
    list(FILTER sources EXCLUDE REGEX ${pattern})
  endforeach()
  add_library(nf_${name} STATIC ${sources})
  target_include_directories(nf_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(nf_${name} PUBLIC nf_options)
  foreach(dependency IN LISTS ARG_DEPENDS)
    target_link_libraries(nf_${name} PUBLIC nf_${dependency})
  endforeach()
  # Kernel files are the only ones compiled for more than the baseline processor.
  foreach(source IN LISTS sources)
    if(source MATCHES "_avx2\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx2;-mfma;-mbmi2")
    elseif(source MATCHES "_avx512\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS
        "-mavx512f;-mavx512dq;-mavx512vl;-mavx512bw;-mavx2;-mfma;-mbmi2"
        # GCC 12 warns of its own intrinsics, which leave lanes undefined on purpose.
        "-Wno-uninitialized;-Wno-maybe-uninitialized")
    endif()
  endforeach()
endfunction()
