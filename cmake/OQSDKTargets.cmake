# Flags of our own targets, and of nothing else.
function(oqsdk_own_target target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                         -Woverloaded-virtual -Wcast-align)
  if(OQSDK_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees overlaps in std::string's operator+ that cannot be (its bug 105651).
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(OQSDK_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE})
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    # What a host needs of the library and the library does not export fails here, not in the application.
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

# Headers that most files of a target read, read once for all of them. Wanted where everything is built anew; an include
# that a file lacks is found by the builds that leave it off.
function(oqsdk_precompile target)
  if(OQSDK_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
endfunction()

# Those of another target that is built with the same options.
function(oqsdk_precompiled_with target other)
  if(OQSDK_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} REUSE_FROM ${other})
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
endfunction()
