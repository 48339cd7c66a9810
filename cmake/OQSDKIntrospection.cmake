# SPDX-License-Identifier: Apache-2.0

# The introspection data of a shared library for other languages, and its file for Vala: NAMESPACE-1.gir,
# NAMESPACE-1.typelib, PACKAGE.vapi and PACKAGE.deps in the folder `introspection` of the build. PACKAGE is also the
# name of the library's pkg-config file. DEPENDS are pairs of a namespace and its package.
set(OQSDK_INTROSPECTION_DIR ${PROJECT_BINARY_DIR}/introspection)
function(oqsdk_introspect target namespace)
  cmake_parse_arguments(ARG "" "HEADER;PREFIX;PACKAGE" "DEPENDS" ${ARGN})
  find_program(OQSDK_G_IR_SCANNER g-ir-scanner REQUIRED)
  find_program(OQSDK_G_IR_COMPILER g-ir-compiler REQUIRED)
  find_program(OQSDK_VAPIGEN NAMES vapigen vapigen-0.56 REQUIRED)
  set(scanned "")
  set(vala "")
  set(lines "")
  while(ARG_DEPENDS)
    list(POP_FRONT ARG_DEPENDS included package)
    list(APPEND scanned --include=${included} --pkg=${package})
    if(NOT package STREQUAL "gobject-2.0")  # every program in Vala has it
      list(APPEND vala --pkg=${package})
      string(APPEND lines "${package}\n")
    endif()
  endwhile()
  set(place ${OQSDK_INTROSPECTION_DIR})
  set(gir ${place}/${namespace}-1.gir)
  set(typelib ${place}/${namespace}-1.typelib)
  set(vapi ${place}/${ARG_PACKAGE}.vapi)
  file(CONFIGURE OUTPUT ${place}/${ARG_PACKAGE}.deps CONTENT "${lines}" @ONLY)
  add_custom_command(
    OUTPUT ${gir}
    # The scanner links a program with the library and runs it.
    COMMAND ${OQSDK_G_IR_SCANNER} --quiet --warn-all --warn-error --namespace=${namespace} --nsversion=1
            --identifier-prefix=${namespace} --symbol-prefix=${ARG_PREFIX} --c-include=${ARG_HEADER} ${scanned}
            --pkg-export=${ARG_PACKAGE} --cflags-begin -I${PROJECT_SOURCE_DIR}/include --cflags-end
            -L$<TARGET_FILE_DIR:${target}> --library=$<TARGET_FILE_BASE_NAME:${target}> --output=${gir}
            ${PROJECT_SOURCE_DIR}/include/${ARG_HEADER}
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/include/${ARG_HEADER}
    VERBATIM)
  add_custom_command(OUTPUT ${typelib} COMMAND ${OQSDK_G_IR_COMPILER} --output=${typelib} ${gir}
                     DEPENDS ${gir} VERBATIM)
  add_custom_command(OUTPUT ${vapi}
                     COMMAND ${OQSDK_VAPIGEN} --quiet --library=${ARG_PACKAGE} --directory=${place} ${vala} ${gir}
                     DEPENDS ${gir} VERBATIM)
  add_custom_target(${target}_introspection ALL DEPENDS ${gir} ${typelib} ${vapi})
endfunction()

# Installs what oqsdk_introspect() makes.
function(oqsdk_install_introspection namespace)
  cmake_parse_arguments(ARG "" "PACKAGE;RUNTIME;DEVELOPMENT" "" ${ARGN})
  install(FILES ${OQSDK_INTROSPECTION_DIR}/${namespace}-1.typelib
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/girepository-1.0 COMPONENT ${ARG_RUNTIME})
  install(FILES ${OQSDK_INTROSPECTION_DIR}/${namespace}-1.gir DESTINATION ${CMAKE_INSTALL_DATADIR}/gir-1.0
          COMPONENT ${ARG_DEVELOPMENT})
  install(FILES ${OQSDK_INTROSPECTION_DIR}/${ARG_PACKAGE}.vapi ${OQSDK_INTROSPECTION_DIR}/${ARG_PACKAGE}.deps
          DESTINATION ${CMAKE_INSTALL_DATADIR}/vala/vapi COMPONENT ${ARG_DEVELOPMENT})
endfunction()

# The arguments of oqsdk_introspect() for our libraries.
set(OQSDK_INTROSPECTION HEADER oqsdk/c/gobject.h PREFIX oqsdk PACKAGE oqsdk-gobject DEPENDS GObject-2.0 gobject-2.0)
set(OQSDK_GTK_INTROSPECTION HEADER oqsdk/c/gtk.h PREFIX oqsdk_gtk PACKAGE oqsdk-gtk-c DEPENDS Gtk-4.0 gtk4)
