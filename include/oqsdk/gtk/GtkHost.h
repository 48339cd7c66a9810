#pragma once

#include <gtkmm/overlay.h>
#include <gtkmm/window.h>

#include <filesystem>
#include <string>

#include "oqsdk/Export.h"

namespace oq::gtk {

struct AttachOptions {
  /// Names the data folder and is written into logs; empty: taken from the GApplication, else from the program's name.
  std::string applicationIdentifier;
  std::string applicationVersion;
  /// Where documents and preferences live; empty: the XDG data folder of the application.
  std::filesystem::path dataDirectory;
};

/// Lets the library show its windows above a host's own. Call it once, on GTK's main thread, before
/// TorvelinOqManager::startWithConfig(). The window's child is wrapped in an overlay, also a child that is set later;
/// touches that hit no view of the library reach the host's widgets as before. The attachment ends with the window.
OQSDK_EXPORT void attach(Gtk::Window& window, const AttachOptions& options = {});

/// The same for a host that has an overlay of its own: a layer is added on top of it.
OQSDK_EXPORT void attach(Gtk::Overlay& overlay, const AttachOptions& options = {});

}  // namespace oq::gtk
