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
  bool publicEvents = false;                // "/events" also responds to clients on other machines
};

// Connects an HTTP server to the endpoints. `endpoints` and `options` must outlive the server.
void addRoutes(httplib::Server& server, Environment environment, Endpoints& endpoints, const RouteOptions& options);

}  // namespace oq::server
