# SPDX-License-Identifier: Apache-2.0

# The Debian packages that `cpack` builds: one per component, split as Debian splits libraries.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oqsdk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${OQSDK_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The tool that reads dependencies from the binaries (dpkg-shlibdeps) finds our own library in the build tree.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/hosts
    ${PROJECT_BINARY_DIR}/hosts/qt ${PROJECT_BINARY_DIR}/hosts/qt/quick ${PROJECT_BINARY_DIR}/hosts/sdl
    ${PROJECT_BINARY_DIR}/bindings)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENTS_ALL "")
# Packages with the same ONE_OF value cannot be installed together.
function(oqsdk_package component name section)
  cmake_parse_arguments(ARG "" "DESCRIPTION;DEPENDS;RECOMMENDS;ONE_OF" "" ${ARGN})
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${ARG_DEPENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${ARG_RECOMMENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_PROVIDES "${ARG_ONE_OF}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_CONFLICTS "${ARG_ONE_OF}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${ARG_DESCRIPTION}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
          COMPONENT ${component})
endfunction()

set(same "(= ${PROJECT_VERSION})")
set(library liboqsdk${OQSDK_INTERFACE_VERSION})
set(gtk liboqsdk-gtk${OQSDK_INTERFACE_VERSION})
set(web liboqsdk-gtk-web${OQSDK_INTERFACE_VERSION})
set(qt liboqsdk-qt6-${OQSDK_INTERFACE_VERSION})
set(quick liboqsdk-qt6-quick${OQSDK_INTERFACE_VERSION})
set(qt_web liboqsdk-qt6-web${OQSDK_INTERFACE_VERSION})
set(sdl liboqsdk-sdl2-${OQSDK_INTERFACE_VERSION})
# Every version installs its resources in the same place, hence ONE_OF. libcurl is loaded at run time, so shlibdeps does
# not see this dependency.
oqsdk_package(library ${library} libs DEPENDS "libcurl4 (>= 7.87)" RECOMMENDS ca-certificates ONE_OF liboqsdk
              DESCRIPTION "in-app messages for native applications
A library that shows the campaigns of a server as messages in an application,
with its resources and a host that needs no display.")
oqsdk_package(development liboqsdk-dev libdevel DEPENDS "${library} ${same}"
              DESCRIPTION "in-app messages for native applications (development)
Headers, CMake package and pkg-config files of OQSDK and its headless host.")
oqsdk_package(c liboqsdk-c1 libs DEPENDS "${library} ${same}"
              DESCRIPTION "in-app messages for native applications (C interface)
The C interface of OQSDK, for programs in C and in languages that call C.")
oqsdk_package(gobject liboqsdk-gobject1 libs DEPENDS "liboqsdk-c1 ${same}"
              DESCRIPTION "in-app messages for native applications (GObject)
OQSDK as a GObject, for languages that use introspection data.")
set(of_gobject "libglib2.0-dev")
if(OQSDK_INSTALLS_INTROSPECTION)
  string(APPEND of_gobject ", gir1.2-oqsdk-1 ${same}")
  oqsdk_package(introspection gir1.2-oqsdk-1 introspection DEPENDS "liboqsdk-gobject1 ${same}"
                DESCRIPTION "in-app messages for native applications (introspection data)
What Python and other languages need to use OQSDK.")
endif()
oqsdk_package(c_development liboqsdk-c-dev libdevel
              DEPENDS "liboqsdk-c1 ${same}, liboqsdk-gobject1 ${same}, liboqsdk-dev ${same}, ${of_gobject}"
              DESCRIPTION "in-app messages for native applications (C development)
Headers, CMake package and pkg-config files of OQSDK's C and GObject interfaces.")
if(TARGET oqsdk_gtk)
  # The web engine is several times larger than everything else, and messages without web pages do not need it.
  set(recommends "")
  if(TARGET oqsdk_webkit)
    set(recommends RECOMMENDS "${web} ${same}")
    oqsdk_package(gtk_web ${web} libs DEPENDS "${gtk} ${same}" ONE_OF liboqsdk-gtk-web
                  DESCRIPTION "in-app messages for GTK 4 applications (web pages)
The web engine with which OQSDK shows web pages in GTK 4 windows. Without it,
links open in the system's browser, and messages that are web pages are not
shown.")
  endif()
  oqsdk_package(gtk ${gtk} libs DEPENDS "${library} ${same}" ${recommends}
                DESCRIPTION "in-app messages for GTK 4 applications
The part of OQSDK that shows its messages in GTK 4 windows.")
  oqsdk_package(gtk_development liboqsdk-gtk-dev libdevel
                DEPENDS "${gtk} ${same}, liboqsdk-c-dev ${same}, libgtkmm-4.0-dev"
                DESCRIPTION "in-app messages for GTK 4 applications (development)
Headers, CMake package and pkg-config files of OQSDK's GTK host.")
  if(OQSDK_INSTALLS_INTROSPECTION)
    string(APPEND CPACK_DEBIAN_GTK_DEVELOPMENT_PACKAGE_DEPENDS ", gir1.2-oqsdkgtk-1 ${same}")
    oqsdk_package(gtk_introspection gir1.2-oqsdkgtk-1 introspection
                  DEPENDS "${gtk} ${same}, gir1.2-oqsdk-1 ${same}, gir1.2-gtk-4.0"
                  DESCRIPTION "in-app messages for GTK 4 applications (introspection data)
What Python and other languages need to show OQSDK's messages in GTK 4 windows.")
  endif()
endif()
if(TARGET oqsdk_qt)
  set(recommends "")
  if(TARGET oqsdk_qt_web)
    set(recommends RECOMMENDS "${qt_web} ${same}")
    oqsdk_package(qt_web ${qt_web} libs DEPENDS "${qt} ${same}" ONE_OF liboqsdk-qt6-web
                  DESCRIPTION "in-app messages for Qt 6 applications (web pages)
The web engine with which OQSDK shows web pages in windows of Qt 6. It is used
by applications that set Qt::AA_ShareOpenGLContexts. Without it, links open in
the system's browser, and messages that are web pages are not shown.")
  endif()
  oqsdk_package(qt ${qt} libs DEPENDS "${library} ${same}" ${recommends}
                DESCRIPTION "in-app messages for Qt 6 applications
The part of OQSDK that shows its messages in windows of Qt 6 Widgets.")
  oqsdk_package(quick ${quick} libs DEPENDS "${qt} ${same}" ${recommends}
                DESCRIPTION "in-app messages for Qt 6 applications (Quick)
The part of OQSDK that shows its messages in windows of Qt Quick.")
  oqsdk_package(qml qml6-module-oqsdk libs DEPENDS "${quick} ${same}, qml6-module-qtquick"
                DESCRIPTION "in-app messages for Qt 6 applications (QML module)
The QML module Oqsdk with its type MessageLayer.")
  oqsdk_package(qt_development liboqsdk-qt6-dev libdevel
                DEPENDS "${qt} ${same}, liboqsdk-dev ${same}, qt6-base-dev"
                DESCRIPTION "in-app messages for Qt 6 applications (development)
Headers, CMake package and pkg-config files of OQSDK's host for Qt Widgets.")
  oqsdk_package(quick_development liboqsdk-qt6-quick-dev libdevel
                DEPENDS "${quick} ${same}, liboqsdk-qt6-dev ${same}, qml6-module-oqsdk ${same}, qt6-declarative-dev"
                DESCRIPTION "in-app messages for Qt 6 applications (Quick, development)
Headers, CMake package and pkg-config files of OQSDK's host for Qt Quick.")
endif()
if(TARGET oqsdk_sdl)
  oqsdk_package(sdl ${sdl} libs DEPENDS "${library} ${same}"
                DESCRIPTION "in-app messages for SDL 2 applications
The part of OQSDK that shows its messages in windows of SDL 2, with a renderer,
OpenGL, OpenGL ES, or as pixels.")
  oqsdk_package(sdl_development liboqsdk-sdl2-dev libdevel
                DEPENDS "${sdl} ${same}, liboqsdk-dev ${same}, libsdl2-dev"
                DESCRIPTION "in-app messages for SDL 2 applications (development)
Headers, CMake package and pkg-config files of OQSDK's host for SDL 2.")
endif()
if(TARGET oqsdk-server)
  oqsdk_package(server oqsdk-server net
                DESCRIPTION "server of in-app campaigns
Sends the campaigns of a JSON file to applications with OQSDK, and stores the
events that they report.")
endif()
include(CPack)
