# SPDX-License-Identifier: Apache-2.0

# The names and exports of our libraries, and the files that `cmake --install` installs. Each component becomes one
# Debian package.
include(CMakePackageConfigHelpers)
# The interface version: a program runs only with libraries of the interface version that it was linked to. While the
# major version is 0, a new minor version may change the interface, so the interface version contains both numbers.
set(OQSDK_INTERFACE_VERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  string(APPEND OQSDK_INTERFACE_VERSION .${PROJECT_VERSION_MINOR})
endif()
set(OQSDK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OQSDK)
set(OQSDK_MODULES_DIR ${CMAKE_INSTALL_LIBDIR}/oqsdk)

# Sets the version and exports of one library, and installs its files, its headers, and its CMake and pkg-config files.
# NAME is the library's component for find_package(); RUNTIME and DEVELOPMENT are its components for `cmake --install`.
# With C_INTERFACE, the library has that interface version, and exports only the functions of its C header. With
# C_FUNCTIONS, a library in C++ also exports the C functions whose names match this pattern.
function(oqsdk_library target)
  cmake_parse_arguments(ARG "FOR_HOSTS" "NAME;RUNTIME;DEVELOPMENT;PKG_CONFIG;C_INTERFACE;C_FUNCTIONS" "HEADERS" ${ARGN})
  if(ARG_C_INTERFACE)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${ARG_NAME} SOVERSION ${ARG_C_INTERFACE}
                          VERSION ${ARG_C_INTERFACE}.${PROJECT_VERSION})
  else()
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${ARG_NAME} VERSION ${PROJECT_VERSION}
                          SOVERSION ${OQSDK_INTERFACE_VERSION})
  endif()
  if(NOT ARG_NAME STREQUAL "oqsdk" AND NOT CMAKE_SKIP_INSTALL_RPATH)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")  # liboqsdk is in the same folder
  endif()
  if(BUILD_SHARED_LIBS AND ARG_C_INTERFACE)
    oqsdk_export_c_functions(${target})
  elseif(BUILD_SHARED_LIBS)
    set(for_hosts "")
    if(ARG_FOR_HOSTS)
      set(for_hosts FOR_HOSTS)
    endif()
    oqsdk_limit_exports(${target} HEADERS ${ARG_HEADERS} ${for_hosts} C_FUNCTIONS ${ARG_C_FUNCTIONS})
  endif()
  if(NOT OQSDK_INSTALL)
    return()
  endif()
  install(TARGETS ${target} EXPORT OQSDK-${ARG_NAME}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${ARG_RUNTIME} NAMELINK_COMPONENT ${ARG_DEVELOPMENT}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${ARG_DEVELOPMENT})
  install(EXPORT OQSDK-${ARG_NAME} NAMESPACE OQSDK:: DESTINATION ${OQSDK_CMAKE_DIR} COMPONENT ${ARG_DEVELOPMENT})
  foreach(header ${ARG_HEADERS})
    file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR}/include ${header})
    get_filename_component(folder ${relative} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT ${ARG_DEVELOPMENT})
  endforeach()
  configure_file(cmake/${ARG_PKG_CONFIG}.pc.in ${PROJECT_BINARY_DIR}/${ARG_PKG_CONFIG}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${ARG_PKG_CONFIG}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT ${ARG_DEVELOPMENT})
endfunction()

# If OQSDK is a static library, the application has to link the libraries that OQSDK uses.
set(OQSDK_STATIC_REQUIRES "")
set(OQSDK_STATIC_LIBS "")
set(OQSDK_C_REQUIRES "")
set(OQSDK_GTK_C_REQUIRES "gtk4")
if(NOT BUILD_SHARED_LIBS)
  set(OQSDK_C_REQUIRES "Requires: oqsdk = ${PROJECT_VERSION}")
  set(OQSDK_GTK_C_REQUIRES "gtk4 gtkmm-4.0")
  set(OQSDK_STATIC_REQUIRES
      "libcrypto sqlite3 glib-2.0 gio-2.0 pangocairo gdk-pixbuf-2.0 libjpeg fontconfig zlib")
  set(OQSDK_STATIC_LIBS " -lboost_json -lstdc++ -lm")  # for programs in C that a C compiler links
endif()
# The prefix in a .pc file is relative to the file, so that an installed tree can be moved.
file(RELATIVE_PATH OQSDK_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" OQSDK_PREFIX_FROM_PC "${OQSDK_PREFIX_FROM_PC}")

file(GLOB OQSDK_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/oqsdk/*.h)
file(GLOB OQSDK_HEADLESS_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/oqsdk/headless/*.h)
file(GLOB OQSDK_GTK_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/oqsdk/gtk/*.h)
list(APPEND OQSDK_GTK_HEADERS ${PROJECT_SOURCE_DIR}/include/oqsdk/c/gtk.h)
oqsdk_library(oqsdk NAME oqsdk RUNTIME library DEVELOPMENT development PKG_CONFIG oqsdk FOR_HOSTS
                      HEADERS ${OQSDK_HEADERS})
oqsdk_library(oqsdk_headless NAME headless RUNTIME library DEVELOPMENT development PKG_CONFIG oqsdk-headless
                      HEADERS ${OQSDK_HEADLESS_HEADERS})
oqsdk_library(oqsdk_c NAME c RUNTIME c DEVELOPMENT c_development PKG_CONFIG oqsdk-c C_INTERFACE 1
                      HEADERS ${PROJECT_SOURCE_DIR}/include/oqsdk/c/oqsdk.h)
oqsdk_library(oqsdk_gobject NAME gobject RUNTIME gobject DEVELOPMENT c_development PKG_CONFIG oqsdk-gobject
                      C_INTERFACE 1 HEADERS ${PROJECT_SOURCE_DIR}/include/oqsdk/c/gobject.h)
if(TARGET oqsdk_gtk)
  oqsdk_library(oqsdk_gtk NAME gtk RUNTIME gtk DEVELOPMENT gtk_development PKG_CONFIG oqsdk-gtk
                        C_FUNCTIONS oqsdk_gtk_*
                        HEADERS ${OQSDK_GTK_HEADERS})
endif()

if(TARGET oqsdk_qt)
  file(GLOB OQSDK_QT_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/oqsdk/qt/*.h)
  set(OQSDK_QUICK_HEADERS ${PROJECT_SOURCE_DIR}/include/oqsdk/qt/QuickHost.h)
  list(REMOVE_ITEM OQSDK_QT_HEADERS ${OQSDK_QUICK_HEADERS})
  oqsdk_library(oqsdk_qt NAME qt RUNTIME qt DEVELOPMENT qt_development PKG_CONFIG oqsdk-qt6 FOR_HOSTS
                HEADERS ${OQSDK_QT_HEADERS})
endif()
if(TARGET oqsdk_quick)
  oqsdk_library(oqsdk_quick NAME quick RUNTIME quick DEVELOPMENT quick_development PKG_CONFIG oqsdk-qt6-quick
                HEADERS ${OQSDK_QUICK_HEADERS})
endif()
if(TARGET oqsdk_sdl)
  file(GLOB OQSDK_SDL_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/oqsdk/sdl/*.h)
  oqsdk_library(oqsdk_sdl NAME sdl RUNTIME sdl DEVELOPMENT sdl_development PKG_CONFIG oqsdk-sdl2
                HEADERS ${OQSDK_SDL_HEADERS})
endif()

set(OQSDK_INSTALLS_INTROSPECTION FALSE)
if(BUILD_SHARED_LIBS AND OQSDK_BUILD_INTROSPECTION)
  set(OQSDK_INSTALLS_INTROSPECTION ${OQSDK_INSTALL})
  oqsdk_introspect(oqsdk_gobject Oqsdk ${OQSDK_INTROSPECTION})
  if(TARGET oqsdk_gtk)
    oqsdk_introspect(oqsdk_gtk OqsdkGtk ${OQSDK_GTK_INTROSPECTION})
  endif()
  if(OQSDK_INSTALL)
    oqsdk_install_introspection(Oqsdk PACKAGE oqsdk-gobject RUNTIME introspection DEVELOPMENT c_development)
    if(TARGET oqsdk_gtk)
      oqsdk_install_introspection(OqsdkGtk PACKAGE oqsdk-gtk-c RUNTIME gtk_introspection DEVELOPMENT gtk_development)
    endif()
  endif()
endif()

# For programs in C, which do not need the headers of GTK's C++ binding.
if(TARGET oqsdk_gtk AND OQSDK_INSTALL)
  configure_file(cmake/oqsdk-gtk-c.pc.in ${PROJECT_BINARY_DIR}/oqsdk-gtk-c.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/oqsdk-gtk-c.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT gtk_development)
endif()

# The GTK host loads the web engine as a module at run time and looks up its C functions by name, so the module exports
# only these functions.
if(TARGET oqsdk_webkit)
  target_link_options(oqsdk_webkit PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/module.map)
endif()

if(NOT OQSDK_INSTALL)
  return()
endif()
if(TARGET oqsdk_qt_web)
  install(TARGETS oqsdk_qt_web LIBRARY DESTINATION ${OQSDK_MODULES_DIR} COMPONENT qt_web)
endif()
# If our libraries are static, the QML module is a part of each program.
if(TARGET oqsdk_qml AND BUILD_SHARED_LIBS)
  set(qml ${CMAKE_INSTALL_LIBDIR}/qt6/qml/Oqsdk)
  if(NOT CMAKE_SKIP_INSTALL_RPATH)
    set_target_properties(oqsdk_qml PROPERTIES INSTALL_RPATH "$ORIGIN/../../..")  # our libraries
  endif()
  install(TARGETS oqsdk_qml LIBRARY DESTINATION ${qml} COMPONENT qml)
  install(FILES ${PROJECT_BINARY_DIR}/qml/Oqsdk/qmldir ${PROJECT_BINARY_DIR}/qml/Oqsdk/oqsdk_qml.qmltypes
          DESTINATION ${qml} COMPONENT qml)
endif()
if(TARGET oqsdk_webkit)
  install(TARGETS oqsdk_webkit LIBRARY DESTINATION ${OQSDK_MODULES_DIR} COMPONENT gtk_web)
endif()
configure_package_config_file(cmake/OQSDKConfig.cmake.in ${PROJECT_BINARY_DIR}/OQSDKConfig.cmake
                              INSTALL_DESTINATION ${OQSDK_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OQSDKConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OQSDKConfig.cmake ${PROJECT_BINARY_DIR}/OQSDKConfigVersion.cmake
        DESTINATION ${OQSDK_CMAKE_DIR} COMPONENT development)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/resources/OQSDK.bundle DESTINATION ${CMAKE_INSTALL_DATADIR}/oqsdk
        COMPONENT library)

if(TARGET oqsdk-server)
  install(TARGETS oqsdk-server RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT server)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/server/static DESTINATION ${CMAKE_INSTALL_DATADIR}/oqsdk-server
          COMPONENT server)
  install(FILES ${PROJECT_SOURCE_DIR}/server/campaigns.schema.json
          DESTINATION ${CMAKE_INSTALL_DATADIR}/oqsdk-server COMPONENT server)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/server.md ${PROJECT_SOURCE_DIR}/docs/campaigns.md
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/oqsdk-server COMPONENT server)
  install(FILES ${OQSDK_SERVER_MANUAL} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT server)
endif()
