// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/MailFiles.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <set>

#include "Foundation/Files/FileManager.h"

namespace oq {
namespace fs = std::filesystem;
namespace {

constexpr std::chrono::hours kKept{24};
constexpr std::size_t kLongestName = 200;  // bytes

void removeOldFolders(const fs::path& mail) {
  std::error_code error;
  for (fs::directory_iterator it(mail, error), end; !error && it != end; it.increment(error)) {
    std::error_code unknown;
    const auto written = it->last_write_time(unknown);
    if (!unknown && fs::file_time_type::clock::now() - written > kKept) removeItem(mail, it->path().filename());
  }
}

/// Makes the name a single path component.
std::string fileNameFor(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](unsigned char letter) { return letter < 0x20 || letter == '/'; }, '_');
  // Keeps the end, which has the file's extension, and removes a partial character at the front.
  if (name.size() > kLongestName) name.erase(0, name.size() - kLongestName);
  while (!name.empty() && (static_cast<unsigned char>(name.front()) & 0xc0) == 0x80) name.erase(0, 1);
  const bool isNoName = name.empty() || name == "." || name == "..";
  return isNoName ? "attachment" : name;
}

}  // namespace

std::vector<fs::path> writeMailFiles(const std::vector<MailAttachment>& attachments) {
  const fs::path mail = applicationDataDirectory() / "Mail";
  if (attachments.empty() || !mayWriteFiles() || !createDirectory(mail)) return {};
  removeOldFolders(mail);
  std::string folder = (mail / "XXXXXX").string();
  if (!::mkdtemp(folder.data())) return {};
  std::vector<fs::path> files;
  std::set<std::string> taken;
  for (const auto& attachment : attachments) {
    const std::string wanted = fileNameFor(attachment.fileName);
    std::string name = wanted;
    for (int number = 2; !taken.insert(name).second; ++number) name = std::to_string(number) + "-" + wanted;
    const fs::path file = fs::path(folder) / name;
    if (writeFileAtomically(file, attachment.data)) files.push_back(file);
  }
  return files;
}

}  // namespace oq
