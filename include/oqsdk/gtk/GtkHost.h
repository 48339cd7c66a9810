// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm/notebook.h>
#include <gtkmm/overlay.h>
#include <gtkmm/stack.h>
#include <gtkmm/window.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "oqsdk/Export.h"

namespace oq::gtk {

/// What the application tells the library about itself.
struct AttachOptions {
  /// Names the data folder and is written into logs; empty: taken from the GApplication, else from the program's name.
  std::string applicationIdentifier;
  /// Written into logs; "" is allowed.
  std::string applicationVersion;
  /// Where documents and preferences live; empty: the XDG data folder of the application.
  std::filesystem::path dataDirectory;
  /// Messages are laid out on an upright stage, 375 points wide and 620 to 812 high, which is scaled to fit the window.
  /// It fills an upright window; in one that is at least as wide as high it is shown at most this many times its size.
  /// Each window has its own limit. A value that is not a positive number counts as 1.5.
  double maximumScale = 1.5;
  /// Whether the web engine is loaded ahead, while the process is idle, once a campaign that leads to a web page is
  /// known. That makes about 60 MB more of the process resident, 9 MB of it private, and starts two processes of the
  /// engine with 71 MB that are private. Without it the first page stops the main thread for 110 to 130 ms.
  bool preloadWebEngine = true;
};

/// Lets the library show its windows above a host's own. Call it once for each window, on GTK's main thread; the first
/// call comes before TorvelinOqManager::startWithConfig(), and of the options only `maximumScale` counts in later ones.
/// The window's child (for windows of libadwaita: their content) is wrapped in an overlay, also one that is set later;
/// touches that hit no view of the library reach the host's widgets as before. The attachment ends with the window.
OQSDK_EXPORT void attach(Gtk::Window& window, const AttachOptions& options = {});

/// The same for a host that has an overlay of its own: a layer is added on top of it.
OQSDK_EXPORT void attach(Gtk::Overlay& overlay, const AttachOptions& options = {});

/// The class name that a page goes by, from the name that the host gave it; "" for what is no page.
using PageNames = std::function<std::string(const std::string& name)>;

/// Words begin with capitals, what is neither letter nor digit parts them, and "Page" stands at the end: "cart" is
/// "CartPage", "new-arrivals" is "NewArrivalsPage", "FrontPage" stays. "" stays "".
OQSDK_EXPORT std::string pageClassName(const std::string& name);

/// Makes the children of a stack pages: the visible one appears and disappears as a view controller of the class that
/// `names` tells, which is made when it is first needed. Names are the children's names in the stack; a child without
/// one goes by its title. A name that is another class's of the program is no page's. Call it once, after
/// TorvelinOqManager::startWithConfig(), on GTK's main thread; it ends with the stack.
OQSDK_EXPORT void collectPages(Gtk::Stack& stack, PageNames names = pageClassName);

/// The same for a notebook, whose pages go by their widgets' names; a page without one goes by its tab's text.
OQSDK_EXPORT void collectPages(Gtk::Notebook& notebook, PageNames names = pageClassName);

/// Any other page of a host's: it appears as the object is made and disappears as it is destroyed. Main thread only.
class OQSDK_EXPORT ShownPage {
 public:
  /// The class's name as it is; a name that no page can have shows nothing.
  explicit ShownPage(const std::string& className);
  ~ShownPage();
  ShownPage(const ShownPage&) = delete;
  ShownPage& operator=(const ShownPage&) = delete;

 private:
  class Controller;
  std::shared_ptr<Controller> _controller;
};

}  // namespace oq::gtk
