// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQReportJournal.h"

#include <algorithm>
#include <utility>

#include "Foundation/Files/FileLock.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Base64.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"

namespace oq {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLargestFile = 1u << 20;
constexpr const char* kExtension = ".journal";

fs::path journalFolder() {
  return applicationDataDirectory() / "Documents" / OQReportsFolderName;  // this does not create the folder
}

std::string lineOf(const JSONDictionary& object) {
  return compactJSON(JSONValue(object)) + "\n";
}

std::string removalOf(const std::vector<std::string>& ids) {
  return lineOf({{"removed", JSONArray(ids.begin(), ids.end())}});
}

/// The journals in the folder, sorted by the time of their last write, the latest at the end.
std::vector<fs::path> journalsIn(const fs::path& folder) {
  std::vector<std::pair<fs::file_time_type, fs::path>> found;
  for (const fs::path& name : enumerateDirectory(folder)) {
    std::error_code gone;
    if (name.extension() != kExtension || !fs::is_regular_file(fs::symlink_status(folder / name, gone))) continue;
    found.emplace_back(fs::last_write_time(folder / name, gone), folder / name);
  }
  std::sort(found.begin(), found.end());
  std::vector<fs::path> paths;
  for (auto& [time, path] : found) paths.push_back(std::move(path));
  return paths;
}

/// What a journal contains: the reports that were not removed, and the latest "notBefore" time (0 if there is none).
struct Contents {
  std::vector<OQReportJournal::Entry> entries;
  double notBefore = 0;

  void read(std::string_view text) {
    while (!text.empty()) {
      const auto length = std::min(text.find('\n'), text.size());
      if (const auto line = valueWithJSON(text.substr(0, length))) takeLine(*line);
      text.remove_prefix(std::min(length + 1, text.size()));
    }
  }

 private:
  void takeLine(const JSONValue& line) {
    const JSONValue &id = valueForKey(line, "id"), &report = valueForKey(line, "report");
    if (isNonEmptyString(id) && report.is_object()) entries.push_back({std::string(id.get_string()), report});
    notBefore = std::max(notBefore, doubleValue(valueForKey(line, "notBefore")));
    const JSONArray* removed = valueForKey(line, "removed").if_array();
    if (!removed) return;
    std::erase_if(entries, [&](const auto& entry) {
      return std::find(removed->begin(), removed->end(), JSONValue(entry.id)) != removed->end();
    });
  }
};

}  // namespace

OQReportJournal::~OQReportJournal() {
  if (_lines.empty()) removeFile();
}

std::unique_ptr<AppendFile> OQReportJournal::create() {
  const auto folder = journalFolder();
  return createDirectory(folder) ? AppendFile::create(folder / (uuidString() + kExtension)) : nullptr;
}

OQReportJournal::Added OQReportJournal::add(const Entry& entry) {
  const std::string line = lineOf({{"id", entry.id}, {"report", entry.report}});
  if (line.size() > mostBytes) return {};
  Added added{false, makeRoomFor(line.size())};
  if (!added.dropped.empty()) write(removalOf(added.dropped));
  added.isStored = write(line);
  if (!added.isStored) return added;
  _bytes += line.size();
  _lines.push_back({entry.id, line});
  return added;
}

std::vector<std::string> OQReportJournal::makeRoomFor(std::size_t bytes) {
  std::vector<std::string> dropped;
  while (!_lines.empty() && (_lines.size() >= mostReports || _bytes + bytes > mostBytes)) {
    _bytes -= _lines.front().text.size();
    dropped.push_back(std::move(_lines.front().id));
    _lines.pop_front();
  }
  return dropped;
}

void OQReportJournal::remove(const std::vector<std::string>& ids) {
  const auto isRemoved = [&](const Line& line) { return std::find(ids.begin(), ids.end(), line.id) != ids.end(); };
  for (const Line& line : _lines) {
    if (isRemoved(line)) _bytes -= line.text.size();
  }
  if (std::erase_if(_lines, isRemoved) == 0) return;
  // If the line cannot be written, the reports are sent again after a restart, with the same ids.
  if (!_lines.empty()) write(removalOf(ids));
  if (_lines.empty()) removeFile();
}

void OQReportJournal::setNotBefore(double secondsSince1970) {
  _notBefore = secondsSince1970;
  if (_file) write(lineOf({{"notBefore", secondsSince1970}}));
}

bool OQReportJournal::write(const std::string& line) {
  if (!_file || _file->size() + line.size() > kLargestFile) return copyToNewFile(line);
  return _file->append(line);
}

bool OQReportJournal::copyToNewFile(const std::string& more) {
  auto file = create();
  if (!file) return false;
  std::string lines = _notBefore > 0 ? lineOf({{"notBefore", _notBefore}}) : std::string();
  for (const Line& line : _lines) lines += line.text;
  // The old file is removed only when the new one is on the disk. If the process dies before that, both files are
  // adopted; equal ids count once.
  const bool isCopied = file->append(lines + more) && (_lines.empty() || file->flush());
  if (isCopied) _file.swap(file);
  if (file) file->remove();
  return isCopied;
}

void OQReportJournal::forget() {
  _file.reset();
  _lines.clear();
  _bytes = 0;
}

void OQReportJournal::removeFile() {
  if (_file) _file->remove();
  forget();
}

OQReportJournal::Adopted OQReportJournal::adopt() {
  Adopted adopted;
  for (const fs::path& path : journalsIn(journalFolder())) {
    if (_file && path == _file->path()) continue;
    if (!adoptFile(path, adopted)) break;
  }
  return adopted;
}

/// Returns false if the reports cannot be written into this process's journal.
bool OQReportJournal::adoptFile(const fs::path& path, Adopted& adopted) {
  LockFile lockFile;
  const auto lock = lockFile.take(path, LockFile::Clock::time_point::min());
  if (!lock) return true;  // the process of this journal is alive
  const auto bytes = contentsOfFile(path, 2 * kLargestFile);
  if (!bytes) return true;  // perhaps no descriptor is free: the file stays and can be adopted later
  Contents contents;
  contents.read({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
  if (contents.notBefore > _notBefore) setNotBefore(contents.notBefore);
  adopted.notBefore = std::max(adopted.notBefore, contents.notBefore);
  for (Entry& entry : contents.entries) {
    const bool isKnown =
        std::any_of(_lines.begin(), _lines.end(), [&](const Line& line) { return line.id == entry.id; });
    if (isKnown) continue;
    Added added = add(entry);
    adopted.dropped.insert(adopted.dropped.end(), added.dropped.begin(), added.dropped.end());
    if (!added.isStored) return false;
    adopted.entries.push_back(std::move(entry));
  }
  std::error_code gone;
  fs::remove(path, gone);
  return true;
}

void OQReportJournal::removeAll() {
  std::error_code gone;
  for (const fs::path& path : journalsIn(journalFolder())) fs::remove(path, gone);
  _notBefore = 0;
  forget();
}

}  // namespace oq
