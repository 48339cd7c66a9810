// SPDX-License-Identifier: Apache-2.0
#include "CampaignFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <ostream>

#include "CampaignParser.h"

namespace oq::server {

namespace {

constexpr std::uintmax_t largestFile = 64u << 20;
constexpr std::size_t mostLines = 20;

void printAll(std::ostream& out, const std::filesystem::path& path, const char* kind,
              const std::vector<std::string>& lines) {
  for (std::size_t i = 0; i < lines.size() && i < mostLines; ++i) {
    out << path.string() << ": " << kind << lines[i] << '\n';
  }
  if (lines.size() > mostLines) {
    out << path.string() << ": " << kind << "and " << lines.size() - mostLines << " more\n";
  }
}

}  // namespace

CampaignFile::CampaignFile(std::filesystem::path path, CurrentCampaigns& campaigns, std::ostream& messages)
    : _path(std::move(path)), _campaigns(campaigns), _messages(messages) {}

CampaignFile::Outcome CampaignFile::load() {
  std::error_code error;
  const auto status = std::filesystem::status(_path, error);
  if (status.type() == std::filesystem::file_type::not_found) return Outcome::missing;
  if (!std::filesystem::is_regular_file(status)) {
    _messages << _path.string() << ": not a file" << std::endl;
    return Outcome::refused;
  }
  if (std::filesystem::file_size(_path, error) > largestFile && !error) {
    _messages << _path.string() << ": larger than 64 MiB" << std::endl;
    return Outcome::refused;
  }
  errno = 0;
  std::ifstream in(_path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.is_open() && errno == ENOENT) return Outcome::missing;
  if (!in.is_open() || in.bad()) {
    _messages << _path.string() << ": cannot be read: " << std::strerror(errno) << std::endl;
    return Outcome::refused;
  }
  if (_lastText == text) return Outcome::unchanged;
  const auto outcome = _take(text);
  _lastText = std::move(text);
  return outcome;
}

CampaignFile::Outcome CampaignFile::_take(const std::string& text) {
  CampaignReport report;
  auto campaigns = parseCampaigns(text, report);
  printAll(_messages, _path, "warning: ", report.warnings);
  printAll(_messages, _path, "", report.errors);
  _messages.flush();
  if (!campaigns) return Outcome::refused;
  _campaigns.set(std::move(*campaigns));
  return Outcome::loaded;
}

}  // namespace oq::server
