// SPDX-License-Identifier: Apache-2.0
#include "StaticFiles.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace oq::server {

namespace fs = std::filesystem;

namespace {

std::string contentTypeOf(const fs::path& file) {
  static const std::map<std::string, std::string, std::less<>> types = {
      {".css", "text/css; charset=utf-8"},
      {".gif", "image/gif"},
      {".htm", "text/html; charset=utf-8"},
      {".html", "text/html; charset=utf-8"},
      {".ico", "image/x-icon"},
      {".jpeg", "image/jpeg"},
      {".jpg", "image/jpeg"},
      {".js", "text/javascript; charset=utf-8"},
      {".json", "application/json"},
      {".mp4", "video/mp4"},
      {".png", "image/png"},
      {".svg", "image/svg+xml"},
      {".txt", "text/plain; charset=utf-8"},
      {".webp", "image/webp"},
      {".woff2", "font/woff2"},
  };
  std::string extension = file.extension();
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  const auto found = types.find(extension);
  return found == types.end() ? "application/octet-stream" : found->second;
}

// Refuses empty parts, ".", ".." and hidden names.
bool isPlain(std::string_view name) {
  if (name.empty() || name.find('\0') != name.npos) return false;
  for (std::size_t from = 0; from <= name.size();) {
    const auto to = std::min(name.find('/', from), name.size());
    if (to == from || name[from] == '.') return false;
    from = to + 1;
  }
  return true;
}

bool isInside(const fs::path& folder, const fs::path& file) {
  const auto [end, unused] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
  return end == folder.end();
}

}  // namespace

StaticFiles::StaticFiles(const fs::path& folder) {
  std::error_code error;
  _folder = fs::canonical(folder, error);
  if (error || !fs::is_directory(_folder)) throw std::runtime_error(folder.string() + ": not a folder");
}

std::optional<StaticFiles::File> StaticFiles::find(std::string_view name) const {
  if (!isPlain(name)) return std::nullopt;
  std::error_code error;
  const auto path = fs::canonical(_folder / name, error);
  if (error || !isInside(_folder, path) || !fs::is_regular_file(path, error)) return std::nullopt;
  return File{path, contentTypeOf(path)};
}

}  // namespace oq::server
