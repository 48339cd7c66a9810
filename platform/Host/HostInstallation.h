// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

#include "Dispatch/DispatchQueue.h"
#include "oqsdk/Export.h"

namespace oq {

class UIHost;
class WebEngine;

/// The application that contains the host.
struct HostedApplication {
  std::string identifier;
  std::string version;
  std::filesystem::path dataDirectory;  ///< if empty, the folder is not changed; the default is the XDG data folder
};

/// What every host does first: makes the calling thread the main thread, names the application, and begins to warm up
/// the layout of text on another thread, because the first text of a process takes longer than a frame.
OQSDK_EXPORT void prepareProcess(const HostedApplication& application, MainLoop loop = MainLoop::GLib);
/// Whether prepareProcess() was called. Any thread.
OQSDK_EXPORT bool isProcessPrepared();

/// Whether there is a HostInstallation. Any thread.
OQSDK_EXPORT bool isHostInstalled();

/// While this object exists, the process uses the host and web engine that were passed to it. Both must outlive it.
/// Without an engine (nullptr) pages cannot be shown. The destructor enables animations again. Main thread only.
class OQSDK_EXPORT HostInstallation {
 public:
  HostInstallation(UIHost& host, WebEngine* engine);
  ~HostInstallation();
  HostInstallation(const HostInstallation&) = delete;
  HostInstallation& operator=(const HostInstallation&) = delete;
};

}  // namespace oq
