// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/URL.h"

#include <glib.h>

#include <cstring>
#include <memory>

namespace oq {

namespace {

/// The unreserved and the reserved characters of RFC 3986. Does not use <cctype>, which depends on the host's locale.
bool isURLCharacter(char c) {
  return g_ascii_isalnum(c) || (c != '\0' && std::strchr("-._~:/?#[]@!$&'()*+,;=", c));
}

bool isSchemeCharacter(char c) {
  return g_ascii_isalnum(c) || c == '+' || c == '-' || c == '.';
}

}  // namespace

std::optional<URL> URL::withString(std::string_view text) {
  if (text.empty()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isURLCharacter(text[i])) continue;
    bool isEscape =
        text[i] == '%' && i + 2 < text.size() && g_ascii_isxdigit(text[i + 1]) && g_ascii_isxdigit(text[i + 2]);
    if (!isEscape) return std::nullopt;
    i += 2;
  }
  return URL(std::string(text));
}

std::string URL::scheme() const {
  if (!g_ascii_isalpha(_text.front())) return "";
  std::string scheme;
  for (char c : _text) {
    if (c == ':') return scheme;
    if (!isSchemeCharacter(c)) return "";
    scheme += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return "";
}

std::optional<URL::Parts> URL::parts() const {
  struct Unref {
    void operator()(GUri* uri) const { g_uri_unref(uri); }
  };
  const std::unique_ptr<GUri, Unref> uri(g_uri_parse(_text.c_str(), G_URI_FLAGS_ENCODED, nullptr));
  if (!uri || g_uri_get_port(uri.get()) == 0) return std::nullopt;
  Parts parts;
  if (const char* host = g_uri_get_host(uri.get())) parts.host = host;
  if (const int port = g_uri_get_port(uri.get()); port > 0) parts.port = port;
  parts.path = g_uri_get_path(uri.get());
  parts.hasUser = g_uri_get_userinfo(uri.get()) != nullptr;
  parts.hasQuery = g_uri_get_query(uri.get()) != nullptr;
  parts.hasFragment = g_uri_get_fragment(uri.get()) != nullptr;
  return parts;
}

}  // namespace oq
