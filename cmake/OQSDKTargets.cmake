# SPDX-License-Identifier: Apache-2.0

# Compiler flags for our own targets only.
function(oqsdk_own_target target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                         -Woverloaded-virtual -Wcast-align)
  if(OQSDK_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 wrongly reports overlapping copies in std::string's operator+ (GCC bug 105651).
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(CMAKE_UNITY_BUILD)
    # GCC treats the sources in a unity file as headers, and therefore warns of types that use anonymous namespaces.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  if(OQSDK_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${OQSDK_SANITIZE})
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    # If a host uses a symbol that the library does not export, linking fails here instead of in the application.
    # The library's threads run until the process ends, so dlclose() must not remove its code.
    target_link_options(${target} PRIVATE LINKER:-z,defs LINKER:-z,nodelete)
  endif()
endfunction()

# Precompiles headers that most files of a target include, which makes full builds faster. Builds without this option
# find missing includes.
function(oqsdk_precompile target)
  if(OQSDK_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
endfunction()

# Reuses the precompiled headers of another target that is built with the same options.
function(oqsdk_precompiled_with target other)
  if(OQSDK_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} REUSE_FROM ${other})
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  endif()
endfunction()
