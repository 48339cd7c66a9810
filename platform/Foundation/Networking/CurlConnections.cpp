// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/CurlConnections.h"

#include <arpa/inet.h>
#include <strings.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>

namespace oq {

namespace {

using namespace std::chrono_literals;

/// A smaller difference between the two clocks does not count as a suspension: the clocks are read one after the other,
/// and the thread may be interrupted in between.
constexpr auto kShortestSuspension = 500ms;

std::chrono::nanoseconds timeOf(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool isNamed(const sockaddr_storage& name, const char* address, int port) {
  const auto& four = reinterpret_cast<const sockaddr_in&>(name);
  const auto& six = reinterpret_cast<const sockaddr_in6&>(name);
  const bool isSix = name.ss_family == AF_INET6;
  const void* bytes = isSix ? static_cast<const void*>(&six.sin6_addr) : &four.sin_addr;
  char text[INET6_ADDRSTRLEN];
  return ntohs(isSix ? six.sin6_port : four.sin_port) == port &&
         ::inet_ntop(name.ss_family, bytes, text, sizeof text) && std::strcmp(text, address) == 0;
}

bool isBetween(curl_socket_t socket, const CurlConnections::Ends& ends) {
  sockaddr_storage name{};
  auto* generic = reinterpret_cast<sockaddr*>(&name);
  socklen_t length = sizeof name;
  if (::getsockname(socket, generic, &length) != 0 || !isNamed(name, ends.localAddress, ends.localPort)) return false;
  length = sizeof name;
  return ::getpeername(socket, generic, &length) == 0 && isNamed(name, ends.remoteAddress, ends.remotePort);
}

/// True if the socket has no received bytes, no end of stream and no error.
bool isSilent(curl_socket_t socket) {
  char byte;
  return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

/// True if the TLS library has read bytes beyond the end of the last response.
bool hasDecryptedBytes(CURL* handle) {
  const CurlLibrary& curl = *CurlLibrary::shared();
  curl_tlssessioninfo* session = nullptr;
  if (!curl.tlsHasPending || curl.easyGetInfo(handle, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK) return false;
  const bool isOpenSSL = session && session->backend == CURLSSLBACKEND_OPENSSL && session->internals;
  return isOpenSSL && curl.tlsHasPending(session->internals) != 0;
}

}  // namespace

Moment Moment::now() {
  return {timeOf(CLOCK_BOOTTIME), timeOf(CLOCK_MONOTONIC)};
}

void CurlConnections::observe(CURL* handle) {
  const CurlLibrary& curl = *CurlLibrary::shared();
  curl.set<CURLOPT_SOCKOPTFUNCTION>(handle, &onOpen);
  curl.set<CURLOPT_SOCKOPTDATA>(handle, this);
  curl.set<CURLOPT_CLOSESOCKETFUNCTION>(handle, &onClose);
  curl.set<CURLOPT_CLOSESOCKETDATA>(handle, this);
}

int CurlConnections::onOpen(void* connections, curl_socket_t socket, curlsocktype) try {
  auto made = std::make_shared<Connection>(Connection{socket});
  static_cast<CurlConnections*>(connections)->_open.insert_or_assign(socket, std::move(made));
  return CURL_SOCKOPT_OK;
} catch (const std::bad_alloc&) {
  return CURL_SOCKOPT_ERROR;
}

int CurlConnections::onClose(void* connections, curl_socket_t socket) {
  static_cast<CurlConnections*>(connections)->_open.erase(socket);
  return ::close(socket);
}

std::shared_ptr<CurlConnections::Connection> CurlConnections::find(const Ends& ends) const {
  auto found = std::find_if(_open.begin(), _open.end(), [&](auto& entry) { return isBetween(entry.first, ends); });
  return found == _open.end() ? nullptr : found->second;
}

bool CurlConnections::isUsable(const Connection& connection, CURL* handle) const {
  // A new connection is always usable: bytes that it has received belong to its handshake.
  if (!connection.lastUse) return true;
  const Moment now = _clock();
  const auto idle = now.sinceBoot - connection.lastUse->sinceBoot;
  const auto suspended = idle - (now.awake - connection.lastUse->awake);
  if (idle >= connection.longestIdle || suspended > kShortestSuspension) return false;
  return !hasDecryptedBytes(handle) && isSilent(connection.socket);
}

std::optional<std::chrono::nanoseconds> longestIdleOf(std::string_view headerLine) {
  constexpr std::string_view field = "keep-alive:", parameter = "timeout=";
  if (headerLine.size() < field.size() || ::strncasecmp(headerLine.data(), field.data(), field.size()) != 0)
    return std::nullopt;
  const auto found = headerLine.find(parameter);
  if (found == headerLine.npos) return std::nullopt;
  std::uint16_t seconds = 0;
  const char* begin = headerLine.data() + found + parameter.size();
  if (std::from_chars(begin, headerLine.data() + headerLine.size(), seconds).ec != std::errc()) return std::nullopt;
  const std::chrono::nanoseconds said = std::chrono::seconds(seconds);
  return std::max(said - 1s, said / 2);
}

}  // namespace oq
