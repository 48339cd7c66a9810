# SPDX-License-Identifier: Apache-2.0

# Limits the symbols that a shared library exports. The library exports the symbols that its public HEADERS mark with
# OQSDK_EXPORT; their symbol version is that of the interface (for example OQSDK_0.8). With FOR_HOSTS, the library also
# exports all other symbols with OQSDK_EXPORT, for our own hosts; their symbol version changes with every release, so
# that only hosts of the same release can link them. With C_FUNCTIONS, the library also exports the C functions whose
# names match this pattern. Instantiated templates of the standard library and of Boost are not
# exported.
function(oqsdk_limit_exports target)
  cmake_parse_arguments(ARG "FOR_HOSTS" "C_FUNCTIONS" "HEADERS" ${ARGN})
  set(public "")
  foreach(header ${ARG_HEADERS})
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    file(STRINGS ${header} lines REGEX "OQSDK_EXPORT ")
    foreach(line IN LISTS lines)
      if(line MATCHES "(class|struct) OQSDK_EXPORT ([A-Za-z0-9_]+)")
        set(name ${CMAKE_MATCH_2})
        # In a version script a question mark matches any character; here, the blanks of a demangled name.
        foreach(prefix "" "typeinfo?for?" "typeinfo?name?for?" "vtable?for?")
          string(APPEND public "      ${prefix}oq*::${name};\n")
        endforeach()
        foreach(prefix "" "non-virtual?thunk?to?" "virtual?thunk?to?")
          string(APPEND public "      ${prefix}oq*::${name}::*;\n")
        endforeach()
      elseif(line MATCHES "OQSDK_EXPORT [^(]*[ &*]([A-Za-z0-9_]+)(\\(|\\[|;)")
        string(APPEND public "      oq*::${CMAKE_MATCH_1};\n      oq*::${CMAKE_MATCH_1}?*;\n")
      endif()
    endforeach()
  endforeach()
  set(private "")
  foreach(prefix "" "typeinfo?for?" "typeinfo?name?for?" "vtable?for?" "non-virtual?thunk?to?" "virtual?thunk?to?")
    string(APPEND private "      ${prefix}oq::*;\n")
  endforeach()
  set(script "OQSDK_${OQSDK_INTERFACE_VERSION} {\n  global:\n    extern \"C++\" {\n${public}    };\n  local: *;\n};\n")
  if(ARG_FOR_HOSTS)
    # If two patterns match, the later one wins, so the public names come last.
    string(PREPEND script "OQSDK_PRIVATE_${PROJECT_VERSION} {\n  global:\n    extern \"C++\" {\n${private}    };\n};\n")
  endif()
  if(ARG_C_FUNCTIONS)
    string(APPEND script "OQSDK_C_1 {\n  global: ${ARG_C_FUNCTIONS};\n};\n")
  endif()
  set(file ${PROJECT_BINARY_DIR}/exports/${target}.map)
  file(CONFIGURE OUTPUT ${file} CONTENT "${script}" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${file})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${file})
endfunction()

# The same for a library that exports only the functions of its C header.
function(oqsdk_export_c_functions target)
  set(file ${PROJECT_SOURCE_DIR}/cmake/c.map)
  target_link_options(${target} PRIVATE LINKER:--version-script=${file})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${file})
endfunction()
