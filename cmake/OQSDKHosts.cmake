# SPDX-License-Identifier: Apache-2.0

# Finds the toolkits of the hosts. Afterwards each of OQSDK_BUILD_GTK, OQSDK_BUILD_WEBKIT, OQSDK_BUILD_QT,
# OQSDK_BUILD_QT_WEB and OQSDK_BUILD_SDL is ON or OFF, and OQSDK_ABSENT_TOOLKITS lists those that are OFF only because
# their toolkit is not installed.

# Decides about one host. `found` is whether its toolkit is installed.
macro(_oqsdk_decide host toolkit found)
  if(${found})
    set(OQSDK_BUILD_${host} ON)
  elseif(OQSDK_BUILD_${host} STREQUAL "AUTO")
    message(STATUS "${toolkit} is not installed: its host is not built")
    list(APPEND OQSDK_ABSENT_TOOLKITS ${host})
    set(OQSDK_BUILD_${host} OFF)
  else()
    message(FATAL_ERROR "OQSDK_BUILD_${host} needs ${toolkit}. Install it (scripts/install-deps.sh does), or configure "
                        "with -DOQSDK_BUILD_${host}=OFF")
  endif()
endmacro()

# A macro, because the imported targets and variables are for the folder that calls it.
macro(oqsdk_find_hosts)
  set(OQSDK_ABSENT_TOOLKITS "")
  if(OQSDK_BUILD_GTK)
    pkg_check_modules(OQSDK_GTKMM QUIET IMPORTED_TARGET GLOBAL gtkmm-4.0)
    _oqsdk_decide(GTK "gtkmm 4" OQSDK_GTKMM_FOUND)
  endif()
  if(OQSDK_BUILD_GTK AND OQSDK_BUILD_WEBKIT)
    pkg_check_modules(OQSDK_WEBKITGTK QUIET IMPORTED_TARGET GLOBAL webkitgtk-6.0)
    _oqsdk_decide(WEBKIT "WebKitGTK 6.0" OQSDK_WEBKITGTK_FOUND)
  endif()
  if(OQSDK_BUILD_QT)
    find_package(Qt6 6.4 QUIET COMPONENTS Core Gui Widgets Qml Quick)
    _oqsdk_decide(QT "Qt 6.4 with Widgets and Quick" Qt6_FOUND)
  endif()
  if(OQSDK_BUILD_QT AND OQSDK_BUILD_QT_WEB)
    find_package(Qt6 6.4 QUIET COMPONENTS WebEngineCore WebEngineWidgets WebEngineQuick)
    _oqsdk_decide(QT_WEB "Qt WebEngine 6.4" Qt6WebEngineCore_FOUND)
  endif()
  if(OQSDK_BUILD_SDL)
    pkg_check_modules(OQSDK_SDL2 QUIET IMPORTED_TARGET GLOBAL sdl2>=2.26)
    _oqsdk_decide(SDL "SDL 2.26" OQSDK_SDL2_FOUND)
  endif()
endmacro()
