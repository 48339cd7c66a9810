// SPDX-License-Identifier: Apache-2.0

// Encoding and writing archives of 500 records and 10,000 windows. Compared with a plain write and rename of the same
// bytes, with the same flushes to the disk, and with libplist, which writes the same property list.
#include <fcntl.h>
#include <plist/plist.h>
#include <unistd.h>

#include "Foundation/Files/FileManager.h"
#include "Measure.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"

namespace {

using namespace oq;
using namespace oq::bench;
using Records = std::vector<std::shared_ptr<OQRecordTreeNode>>;
using Windows = std::vector<std::shared_ptr<OQWindowData>>;

constexpr int kRounds = 21;

Records records(int count) {
  Records made;
  for (int i = 0; i < count; ++i) {
    auto record = std::make_shared<OQRecordTreeNode>();
    record->setNodeId(100'000 + i);
    record->setCount(5);
    record->setUsedCount(i % 5);
    record->setStartTime("2026-01-01 00:00:00");
    record->setEndTime(JSONValue("2026-12-31 23:59:" + std::to_string(10 + i % 50)));
    made.push_back(std::move(record));
  }
  return made;
}

/// Campaigns of a typical shop: each has its own strings; many share conditions and colours.
Windows windows(int count) {
  Windows made;
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    auto window = std::make_shared<OQWindowData>();
    window->setModelWithDic(
        {{"id", number},
         {"style", 1 + i % 3},
         {"count", 3},
         {"type", 0},
         {"startTime", "2026-01-01 00:00:00"},
         {"endTime", "2026-12-31 23:59:59"},
         {"clickEvent", "https://shop.example/offer/" + number},
         {"picture", "https://shop.example/pictures/" + number + ".png"},
         {"event", {{"xwhat", "view_item"}, {"xcontext", {{"category", "kind" + std::to_string(i % 100)}}}}},
         {"title", {{"text", "新品上架 No. " + number}, {"color", "#1F2937"}, {"size", "34pd"}}},
         {"content", {{"text", "本季跑鞋已经到店，会员免运费。 " + number}, {"color", "#4B5563"}, {"size", "28pd"}}},
         {"buttonLeft", {{"text", "以后再说"}, {"color", "#4B5563"}, {"background", "#F3F4F6"}, {"size", "28pd"}}},
         {"buttonRight", {{"text", "去看看"}, {"color", "#FFFFFF"}, {"background", "#2563EB"}, {"size", "28pd"}}}});
    made.push_back(std::move(window));
  }
  return made;
}

/// Replaces a file with the fewest steps that are safe: write, flush, rename, flush of the folder.
void plainWrite(const Data& bytes, const std::filesystem::path& file) {
  const std::string temporary = file.string() + ".tmp";
  const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  require(::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "short write");
  require(::fsync(descriptor) == 0 && ::close(descriptor) == 0, "no flush");
  require(::rename(temporary.c_str(), file.c_str()) == 0, "no rename");
  const int folder = ::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  require(::fsync(folder) == 0 && ::close(folder) == 0, "no flush of the folder");
}

class PropertyList {
 public:
  explicit PropertyList(const Data& bytes) {
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &_tree);
    require(_tree != nullptr, "libplist cannot read the archive");
  }
  ~PropertyList() { plist_free(_tree); }
  PropertyList(const PropertyList&) = delete;
  PropertyList& operator=(const PropertyList&) = delete;

  Data bytes() const {
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(_tree, &text, &length);
    Data result(text, text + length);
    plist_to_bin_free(text);
    return result;
  }

 private:
  plist_t _tree = nullptr;
};

void benchRecords(const ScratchFolder& folder) {
  const Records list = records(500);
  const auto file = folder.path() / "records.plist";
  require(OQDataArchiver::setData(list, file), "nothing was written");
  const Data bytes = *contentsOfFile(file);
  const PropertyList tree(bytes);
  auto [archive, plain, encode, libplist] = inTurns(
      4 * kRounds, [&] { return secondsOf([&] { OQDataArchiver::setData(list, file); }); },
      [&] { return secondsOf([&] { plainWrite(bytes, folder.path() / "plain"); }); },
      [&] { return secondsOf([&] {
              keep(KeyedArchiver::archivedDataWithRootObjects({list.begin(), list.end()}));
            }); },
      [&] { return secondsOf([&] { keep(tree.bytes()); }); });
  atMost("archive_500_records_vs_plain_write", medianRatio(archive, plain), 2.5);
  note("archive_500_records", 1e3 * median(archive), "ms");
  note("archive_500_records_plain_write", 1e3 * median(plain), "ms");
  note("archive_500_records_encode_only", 1e3 * median(encode), "ms");
  note("archive_500_records_libplist_encode_only", 1e3 * median(libplist), "ms");
  note("archive_500_records_size", static_cast<double>(bytes.size()) / 1e3, "kB");
}

void benchWindows(const ScratchFolder& folder) {
  const Windows list = windows(10'000);
  const auto file = folder.path() / "windows.plist";
  require(OQDataArchiver::setData(list, file), "nothing was written");
  const Data bytes = *contentsOfFile(file);
  auto [archive, plain, encode, read] = inTurns(
      kRounds, [&] { return secondsOf([&] { OQDataArchiver::setData(list, file); }); },
      [&] { return secondsOf([&] { plainWrite(bytes, folder.path() / "plain"); }); },
      [&] { return secondsOf([&] {
              keep(KeyedArchiver::archivedDataWithRootObjects({list.begin(), list.end()}));
            }); },
      [&] {
        return secondsOf([&] {
          auto restored = OQDataArchiver::getDataForPath<OQWindowData>(file);
          require(restored && restored->size() == list.size(), "the archive is not read back");
        });
      });
  atMost("archive_10000_windows_ms", 1e3 * median(archive), 100);
  note("archive_10000_windows_plain_write", 1e3 * median(plain), "ms");
  note("archive_10000_windows_encode_only", 1e3 * median(encode), "ms");
  note("archive_10000_windows_read", 1e3 * median(read), "ms");
  // libplist is measured separately: it fragments the heap into half a million pieces, which would slow down the next
  // run.
  auto [libplist] = inTurns(5, [&] { return secondsOf([&] { keep(PropertyList(bytes)); }); });
  note("archive_10000_windows_libplist_parse", 1e3 * median(libplist), "ms");
  note("archive_10000_windows_size", static_cast<double>(bytes.size()) / 1e6, "MB");
}

}  // namespace

int main() {
  const ScratchFolder folder;
  benchRecords(folder);
  benchWindows(folder);
}
