// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Base64.h"

#include <glib.h>

#include <cstdio>
#include <memory>
#include <random>

namespace oq {
namespace {

struct GFree {
  void operator()(void* memory) const { g_free(memory); }
};
template <class T>
using GOwned = std::unique_ptr<T, GFree>;

bool isInAlphabet(char c) {
  return g_ascii_isalnum(c) || c == '+' || c == '/';
}

/// The text without the characters outside the base64 alphabet; nullopt unless the rest consists of complete groups of
/// four, with padding only at the end.
std::optional<std::string> withoutUnknownCharacters(std::string_view text) {
  std::string kept;
  std::size_t padding = 0;
  for (char c : text) {
    if (c == '=') {
      ++padding;
    } else if (!isInAlphabet(c)) {
      continue;
    } else if (padding > 0) {
      return std::nullopt;
    }
    kept.push_back(c);
  }
  if (padding > 2 || kept.size() % 4 != 0) return std::nullopt;
  return kept;
}

}  // namespace

std::string base64EncodedString(const Data& data) {
  return GOwned<char>(g_base64_encode(data.data(), data.size())).get();
}

std::optional<Data> dataWithBase64(std::string_view text) {
  auto kept = withoutUnknownCharacters(text);
  if (!kept) return std::nullopt;
  if (kept->empty()) return Data{};
  gsize length = 0;
  GOwned<guchar> bytes(g_base64_decode(kept->c_str(), &length));
  return Data(bytes.get(), bytes.get() + length);
}

bool isValidUTF8(std::string_view text) {
  const char* position = text.data();
  const char* end = position + text.size();
  // GLib treats U+0000 as invalid although it is a valid character; skip it.
  while (position != end && !g_utf8_validate(position, end - position, &position)) {
    if (*position != '\0') return false;
    ++position;
  }
  return true;
}

std::string uuidString() {
  // Gets random bits from the system each time. The state of GLib's generator is copied by a fork, so parent and child
  // would create the same identifiers.
  std::random_device system;
  const auto bits = [&] { return static_cast<unsigned>(system()); };
  const unsigned a = bits(), b = bits(), c = bits(), d = bits();
  char text[37];
  std::snprintf(text, sizeof text, "%08X-%04X-4%03X-%04X-%04X%08X", a, b >> 16, b & 0xfff, 0x8000 | (c >> 18),
                c & 0xffff, d);
  return text;
}

}  // namespace oq
