#include "Storage/OQDataArchiver.h"

namespace oq {

bool OQDataArchiver::write(const Roots& roots, const std::filesystem::path& path, const FileReplaced& replaced) {
  return writeFileAtomically(path, KeyedArchiver::archivedDataWithRootObjects(roots), replaced);
}

}  // namespace oq
