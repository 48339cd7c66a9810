# What a shared library lets others link: what its public headers mark with OQSDK_EXPORT, under the name OQSDK_0, and
# what our own hosts need of the platform layer, under a name that changes with every version, so that nothing but the
# hosts of the same version can be linked to it by mistake. Templates of the standard library and of Boost that happen
# to be instantiated inside stay inside.
function(oqsdk_limit_exports target)
  set(public "")
  foreach(header ${ARGN})
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    file(STRINGS ${header} lines REGEX "OQSDK_EXPORT ")
    foreach(line IN LISTS lines)
      if(line MATCHES "(class|struct) OQSDK_EXPORT ([A-Za-z0-9_]+)")
        set(name ${CMAKE_MATCH_2})
        # In a version script a question mark is any character: the blanks of a readable name, here.
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
  # Of two patterns that fit, the later one counts.
  string(CONCAT script
    "OQSDK_PRIVATE_${PROJECT_VERSION} {\n  global:\n    extern \"C++\" {\n${private}    };\n  local: *;\n};\n"
    "OQSDK_${PROJECT_VERSION_MAJOR} {\n  global:\n    extern \"C++\" {\n${public}    };\n};\n")
  set(file ${PROJECT_BINARY_DIR}/exports/${target}.map)
  file(CONFIGURE OUTPUT ${file} CONTENT "${script}" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${file})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${file})
endfunction()
