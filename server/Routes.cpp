// SPDX-License-Identifier: Apache-2.0
#include "Routes.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <memory>

#include "ConnectionThreads.h"

namespace oq::server {

using httplib::Request;
using httplib::Response;

namespace {

constexpr std::size_t largestBody = 1u << 20;
// A body that is too large is read and discarded up to this limit, so that the client receives the response.
constexpr std::size_t mostDiscarded = 64u << 20;
constexpr std::int64_t mostListed = 1000;
constexpr std::string_view staticPrefix = "/static/";

void send(Response& response, const Reply& reply) {
  response.status = reply.status;
  response.set_content(reply.body, "application/json");
}

// Closes the connection after the response. Needed if the body was not read to its end, since the next bytes on the
// connection are then not a new request.
void closeAfterAnswer(const Request& request, Response& response) {
  response.set_header("Connection", "close");
  // cpp-httplib passes the connection as const. The cast is necessary, because cpp-httplib stops reading only if the
  // connection is marked as shut down.
  if (request.ssl) SSL_set_shutdown(const_cast<SSL*>(request.ssl), SSL_RECEIVED_SHUTDOWN);
}

bool hasBody(const Request& request) {
  return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

bool isRead(const Request& request) {
  return request.method == "GET" || request.method == "HEAD";
}

// True if the request has or may have a body that no endpoint reads. cpp-httplib would read such a body into memory,
// whatever its length, and would parse the body of a GET request as the next request.
bool hasUnwantedBody(const Request& request) {
  const bool taken =
      request.method == "POST" && std::ranges::find(Endpoints::paths, request.path) != std::end(Endpoints::paths);
  if (taken) return false;
  // Without a length, the body of a method that may have one extends to the end of the connection.
  return !isRead(request) || (hasBody(request) && request.get_header_value("Content-Length") != "0");
}

// Reads the body. If this fails, the function sets an error response and returns nullopt. The size limit applies to the
// decompressed bytes, also of a chunked body.
std::optional<std::string> readBody(const Request& request, Response& response, const httplib::ContentReader& read) {
  // Without this check, cpp-httplib would wait for the end of the connection.
  if (!hasBody(request)) {
    send(response, refusal(411, "the request has no body"));
    return std::nullopt;
  }
  if (request.is_multipart_form_data()) {
    send(response, refusal(415, "the body must be JSON"));
    closeAfterAnswer(request, response);
    return std::nullopt;
  }
  std::string body;
  std::size_t size = 0;
  const bool complete = read([&](const char* bytes, std::size_t length) {
    size += length;
    if (size <= largestBody) body.append(bytes, length);
    return size <= mostDiscarded;
  });
  if (size > largestBody) {
    send(response, refusal(413, "the body is larger than 1 MiB"));
  } else if (!complete) {
    send(response, refusal(400, "the body is incomplete"));
  }
  if (!complete) closeAfterAnswer(request, response);
  if (!complete || size > largestBody) return std::nullopt;
  return body;
}

std::optional<std::int64_t> numberFrom(const Request& request, const char* name) {
  const auto text = request.get_param_value(name);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

// True if a proxy forwarded the request. The client may then be on another machine, although the connection comes from
// this one.
bool isForwarded(const Request& request) {
  return request.has_header("X-Forwarded-For") || request.has_header("Forwarded") || request.has_header("X-Real-IP");
}

bool isLocal(const Request& request) {
  if (isForwarded(request)) return false;
  const auto& address = request.remote_addr;
  return address.starts_with("127.") || address == "::1" || address.starts_with("::ffff:127.");
}

Reply listEvents(const Request& request, Endpoints& endpoints, bool publicEvents) {
  if (!publicEvents && !isLocal(request)) return refusal(403, "events are listed on the server's machine only");
  EventFilter filter;
  if (request.has_param("since")) {
    filter.since = numberFrom(request, "since");
    if (!filter.since) return refusal(400, "since: must be an event's id");
  }
  if (request.has_param("limit")) {
    const auto limit = numberFrom(request, "limit");
    if (!limit || *limit < 1 || *limit > mostListed) return refusal(400, "limit: must be 1 to 1000");
    filter.limit = *limit;
  }
  if (request.has_param("name")) filter.name = request.get_param_value("name");
  return endpoints.listEvents(filter);
}

void sendFile(Response& response, const StaticFiles::File& file) {
  auto in = std::make_shared<std::ifstream>(file.path, std::ios::binary);
  std::error_code error;
  const auto size = std::filesystem::file_size(file.path, error);
  if (!in->is_open() || error) return send(response, refusal(404, "not found"));
  response.set_header("X-Content-Type-Options", "nosniff");
  // cpp-httplib does not accept a content provider of length 0.
  if (size == 0) return response.set_content("", file.contentType);
  response.set_content_provider(size, file.contentType,
                                [in](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  char buffer[16 * 1024];
                                  in->clear();
                                  in->seekg(static_cast<std::streamoff>(offset));
                                  in->read(buffer, static_cast<std::streamsize>(std::min(length, sizeof buffer)));
                                  const auto got = static_cast<std::size_t>(in->gcount());
                                  return got > 0 && sink.write(buffer, got);
                                });
}

}  // namespace

void addRoutes(httplib::Server& server, Environment environment, Endpoints& endpoints, const RouteOptions& options) {
  for (const auto path : Endpoints::paths) {
    server.Post(std::string(path),
                [=, &endpoints](const Request& request, Response& response, const httplib::ContentReader& reader) {
                  const auto body = readBody(request, response, reader);
                  if (body) send(response, endpoints.post(environment, path, *body));
                });
  }
  server.Get("/",
             [=, &endpoints](const Request&, Response& response) { send(response, endpoints.status(environment)); });
  server.Get("/events", [&endpoints, open = options.publicEvents](const Request& request, Response& response) {
    send(response, listEvents(request, endpoints, open));
  });
  // Static files are not served by a route with a pattern, since cpp-httplib matches patterns with a recursive regular
  // expression.
  server.set_pre_routing_handler([&options](const Request& request, Response& response) {
    ConnectionThreads::noteRequest();
    if (hasUnwantedBody(request)) {
      send(response, refusal(404, "not found"));
      closeAfterAnswer(request, response);
      return httplib::Server::HandlerResponse::Handled;
    }
    if (!isRead(request) || !request.path.starts_with(staticPrefix)) {
      return httplib::Server::HandlerResponse::Unhandled;
    }
    const auto name = request.path.substr(staticPrefix.size());
    auto file = options.staticFiles ? options.staticFiles->find(name) : std::nullopt;
    if (!file && options.shippedFiles) file = options.shippedFiles->find(name);
    if (file) {
      sendFile(response, *file);
    } else {
      send(response, refusal(404, "not found"));
    }
    return httplib::Server::HandlerResponse::Handled;
  });
  server.set_error_handler([](const Request&, Response& response) {
    if (!response.body.empty()) return;
    send(response, refusal(response.status, response.status == 404 ? "not found" : "the request is wrong"));
  });
}

}  // namespace oq::server
