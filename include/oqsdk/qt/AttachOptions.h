// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace oq::qt {

/// What the library needs to know about the application. Strings are UTF-8.
struct AttachOptions {
  /// Names the data folder and is written into logs. If it is empty, QGuiApplication::desktopFileName() is used, or
  /// else QCoreApplication::applicationName().
  std::string applicationIdentifier;
  /// Written into logs. If it is empty, QCoreApplication::applicationVersion() is used.
  std::string applicationVersion;
  /// The folder for documents and preferences; if empty, the XDG data folder of the application.
  std::filesystem::path dataDirectory;
  /// Messages are laid out on an upright stage, 375 points wide and 620 to 812 high, which is scaled to fit the window.
  /// The stage fills an upright window. In a window that is at least as wide as it is high, the stage is enlarged at
  /// most by this factor. Each window has its own factor. A value that is not a positive number counts as 1.5.
  double maximumScale = 1.5;
};

}  // namespace oq::qt
