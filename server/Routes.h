// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <optional>

#include "Endpoints.h"
#include "StaticFiles.h"

namespace oq::server {

struct RouteOptions {
  std::optional<StaticFiles> staticFiles;
  std::optional<StaticFiles> shippedFiles;  // searched after staticFiles
  bool publicEvents = false;                // "/events" also answers clients of other machines
};

// Connects an HTTP server to the endpoints. Both references must outlive the server.
void addRoutes(httplib::Server& server, Environment environment, Endpoints& endpoints, const RouteOptions& options);

}  // namespace oq::server
