// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

#include "Dispatch/DispatchQueue.h"
#include "oqsdk/Export.h"

namespace oq {

class UIHost;
class WebEngine;

/// The application that a host runs in.
struct HostedApplication {
  std::string identifier;
  std::string version;
  std::filesystem::path dataDirectory;  ///< if empty, the folder stays: by default the XDG data folder
};

/// What every host does first: makes the calling thread the main thread, names the application, and begins to warm up
/// the layout of text on another thread, because the first text of a process takes longer than a frame.
OQSDK_EXPORT void prepareProcess(const HostedApplication& application, MainLoop loop = MainLoop::GLib);

/// The host and web engine of the process, while this object exists. Both must outlive it; without an engine (nullptr)
/// pages cannot be shown. At its end animations are enabled again. Main thread only.
class OQSDK_EXPORT HostInstallation {
 public:
  HostInstallation(UIHost& host, WebEngine* engine);
  ~HostInstallation();
  HostInstallation(const HostInstallation&) = delete;
  HostInstallation& operator=(const HostInstallation&) = delete;
};

}  // namespace oq
