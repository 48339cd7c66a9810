// SPDX-License-Identifier: Apache-2.0
#include "support/LoopbackServer.h"

#include <strings.h>

namespace oq::test {

namespace {

constexpr const char* here = "DNS:localhost,IP:127.0.0.1";

Identity identityFor(LoopbackServer::Certificate certificate) {
  TestAuthority::trusted().trust();
  using enum LoopbackServer::Certificate;
  if (certificate == unknownAuthority) return TestAuthority::unknown().issue(here);
  if (certificate == otherHost) return TestAuthority::trusted().issue("DNS:elsewhere.example");
  if (certificate == expired) return TestAuthority::trusted().issue(here, -3600);
  return TestAuthority::trusted().issue(here);
}

/// Parses the head and body of a valid request.
LoopbackServer::Request parsed(const std::string& text) {
  LoopbackServer::Request request;
  const std::size_t methodEnd = text.find(' '), targetEnd = text.find(' ', methodEnd + 1);
  request.method = text.substr(0, methodEnd);
  request.target = text.substr(methodEnd + 1, targetEnd - methodEnd - 1);
  request.path = request.target.substr(0, request.target.find('?'));
  const std::size_t headEnd = text.find("\r\n\r\n");
  request.body = text.substr(headEnd + 4);
  for (std::size_t line = text.find("\r\n"); line < headEnd; line = text.find("\r\n", line + 2)) {
    const std::size_t colon = text.find(": ", line), end = text.find("\r\n", line + 2);
    request.headers.emplace_back(text.substr(line + 2, colon - line - 2), text.substr(colon + 2, end - colon - 2));
  }
  return request;
}

}  // namespace

Identity trustedIdentity() {
  return identityFor(LoopbackServer::Certificate::trusted);
}

std::string LoopbackServer::Request::header(const std::string& field) const {
  for (const auto& [name, value] : headers) {
    if (strcasecmp(name.c_str(), field.c_str()) == 0) return value;
  }
  return "";
}

LoopbackServer::LoopbackServer(Certificate certificate)
    : _server([this](RawServer::Connection& connection) { serve(connection); }, identityFor(certificate)) {}

void LoopbackServer::serve(RawServer::Connection& connection) {
  bool isNew = true;
  for (std::string text; !(text = connection.readRequest()).empty(); isNew = false) {
    if (isNew) ++_connections;
    const Request request = parsed(text);
    const Response answer = responseTo(request);
    std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " \r\nContent-Type: " + answer.contentType +
                       "\r\nContent-Length: " + std::to_string(answer.body.size()) + "\r\n";
    for (const auto& [name, value] : answer.headers) head += name + ": " + value + "\r\n";
    connection.write(head + "\r\n" + (request.method == "HEAD" ? "" : answer.body));
  }
}

LoopbackServer::Response LoopbackServer::responseTo(const Request& request) {
  Handler handler;
  {
    std::lock_guard lock(_mutex);
    _recorded.push_back(request);
    if (const auto found = _handlers.find(request.path); found != _handlers.end()) handler = found->second;
  }
  return handler ? handler(request) : Response{404, "", "text/plain"};
}

void LoopbackServer::handle(const std::string& path, Handler handler) {
  std::lock_guard lock(_mutex);
  _handlers[path] = std::move(handler);
}

void LoopbackServer::answer(const std::string& path, std::string body, int status) {
  handle(path, [body = std::move(body), status](const Request&) { return Response{status, body}; });
}

std::vector<LoopbackServer::Request> LoopbackServer::requests(const std::string& path) const {
  std::lock_guard lock(_mutex);
  std::vector<Request> found;
  for (const Request& request : _recorded) {
    if (path.empty() || request.path == path) found.push_back(request);
  }
  return found;
}

}  // namespace oq::test
