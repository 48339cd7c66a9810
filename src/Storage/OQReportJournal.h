// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/Files/AppendFile.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// The folder of the journals, in the documents folder.
inline constexpr const char* OQReportsFolderName = "OQReports";

/// The reports that are not acknowledged yet, on disk. Each process appends to a journal of its own, which it keeps
/// locked, and adopts the journals of processes that have ended. So processes do not wait for each other, and each
/// report belongs to one process.
///
/// A line of a journal is a JSON object: a report ({"id":"...","report":...}), the ids of reports that were removed
/// ({"removed":[...]}), or the time before which the server wants no request ({"notBefore":seconds since 1970}). Lines
/// that cannot be read, such as an incomplete last one, are ignored. A journal has at most 1 MiB: before it grows
/// larger, the reports that remain are copied into a new file. An empty journal is removed.
///
/// A report that was added survives the death of the process. Lines are not flushed to the disk one by one, so a loss
/// of power may lose the reports of the last seconds. Not thread-safe. Failure: see Added.
class OQReportJournal {
 public:
  static constexpr std::size_t mostReports = 1000;
  /// The largest total size of the reports that remain. It is less than the limit of the file: otherwise a full journal
  /// would be copied for each new report.
  static constexpr std::size_t mostBytes = 768u << 10;

  struct Entry {
    std::string id;
    JSONValue report;
  };
  /// What add() did.
  struct Added {
    bool isStored = false;             ///< false if the report is too large or cannot be written
    std::vector<std::string> dropped;  ///< the ids of the oldest reports, which were removed to make room
  };
  /// What adopt() found.
  struct Adopted {
    std::vector<Entry> entries;        ///< oldest first
    std::vector<std::string> dropped;  ///< as in Added
    double notBefore = 0;              ///< seconds since 1970; 0 if the journals contain no such time
  };

  OQReportJournal() = default;
  ~OQReportJournal();
  OQReportJournal(const OQReportJournal&) = delete;
  OQReportJournal& operator=(const OQReportJournal&) = delete;

  Added add(const Entry& entry);
  void remove(const std::vector<std::string>& ids);
  void setNotBefore(double secondsSince1970);
  /// Takes over the reports of processes that have ended.
  Adopted adopt();
  /// Removes all journals, also those of other processes.
  void removeAll();
  /// Whether another process has removed this journal with removeAll(). The reports in memory must then be dropped.
  bool isRemovedByOthers() const { return _file && _file->isRemoved(); }
  /// Forgets the reports and the file of this journal, which has already been removed.
  void abandon() { forget(); }

 private:
  struct Line {
    std::string id;
    std::string text;
  };

  static std::unique_ptr<AppendFile> create();
  bool write(const std::string& line);
  bool copyToNewFile(const std::string& more);
  std::vector<std::string> makeRoomFor(std::size_t bytes);
  void forget();
  void removeFile();
  bool adoptFile(const std::filesystem::path& path, Adopted& adopted);

  std::unique_ptr<AppendFile> _file;  ///< exists only while there are reports
  std::deque<Line> _lines;            ///< one for each report that remains
  std::size_t _bytes = 0;             ///< the total length of these lines
  double _notBefore = 0;
};

}  // namespace oq
