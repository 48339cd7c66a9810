// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm/notebook.h>
#include <gtkmm/overlay.h>
#include <gtkmm/stack.h>
#include <gtkmm/window.h>

#include <filesystem>
#include <functional>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/ShownPage.h"

namespace oq::gtk {

/// What the library needs to know about the application.
struct AttachOptions {
  /// Names the data folder and is written into logs. If it is empty, the identifier of the GApplication is used, or
  /// else the name of the program.
  std::string applicationIdentifier;
  /// Written into logs; may be empty.
  std::string applicationVersion;
  /// The folder for documents and preferences; if empty, the XDG data folder of the application.
  std::filesystem::path dataDirectory;
  /// Messages are laid out on an upright stage, 375 points wide and 620 to 812 high, which is scaled to fit the window.
  /// The stage fills an upright window. In a window that is at least as wide as it is high, the stage is enlarged at
  /// most by this factor. Each window has its own factor. A value that is not a positive number counts as 1.5.
  double maximumScale = 1.5;
  /// Whether to load the web engine in advance, while the process is idle, once a campaign with a web page is known.
  /// The engine takes about 60 MB more of resident memory, 9 MB of it private, and starts two processes with 71 MB of
  /// private memory. If it is not loaded in advance, the first page blocks the main thread for 110 to 130 ms.
  bool preloadWebEngine = true;
};

/// Lets the library show messages in a window. Call it once for each window, on GTK's main thread, the first time
/// before TorvelinOqManager::startWithConfig(). Later calls use only `maximumScale` of the options. The window's child
/// (in a libadwaita window: its content) is wrapped in an overlay, also a child that is set later. Touches outside the
/// library's views reach the host's widgets as before. The attachment ends when the window is destroyed.
OQSDK_EXPORT void attach(Gtk::Window& window, const AttachOptions& options = {});

/// Does the same for a host that has its own overlay: adds a layer on top of that overlay.
OQSDK_EXPORT void attach(Gtk::Overlay& overlay, const AttachOptions& options = {});

/// Makes the class names of pages if collectPages() gets no other function.
using oq::pageClassName;

/// Returns the class name of a page. `name` is the host's name for the page. Return "" for a child that is not a page.
using PageNames = std::function<std::string(const std::string& name)>;

/// Reports the visible child of a stack as a page: for the library, a view controller appears with the child and
/// disappears with it. Its class has the name that `names` returns, and is registered when it is first needed. `names`
/// gets the child's name in the stack, or the child's title if it has no name. If the returned name already belongs to
/// another class of the program, the page is ignored. Call this function once, after
/// TorvelinOqManager::startWithConfig(), on GTK's main thread. It has an effect until the stack is destroyed.
OQSDK_EXPORT void collectPages(Gtk::Stack& stack, PageNames names = pageClassName);

/// Does the same for a notebook. `names` gets the name of the page's widget, or the label of the page's tab if the
/// widget has no name.
OQSDK_EXPORT void collectPages(Gtk::Notebook& notebook, PageNames names = pageClassName);

/// Reports a page that is not the child of a stack or notebook.
using oq::ShownPage;

}  // namespace oq::gtk
