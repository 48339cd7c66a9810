// SPDX-License-Identifier: Apache-2.0
#include "Foundation/System/SessionBus.h"

#include <gio/gio.h>
#include <sys/stat.h>

#include <cstdlib>

namespace oq {

std::string sessionBusAddress() {
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
    std::string text = address;
    bool starts = text.find("autolaunch:") != text.npos || text.find("unixexec:") != text.npos;
    return starts ? "" : text;
  }
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (!folder || *folder != '/') return "";
  std::string socket = std::string(folder) + "/bus";
  struct stat status {};
  if (::stat(socket.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return "";
  char* escaped = g_dbus_address_escape_value(socket.c_str());
  std::string address = std::string("unix:path=") + escaped;
  g_free(escaped);
  return address;
}

}  // namespace oq
