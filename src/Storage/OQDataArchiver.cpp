#include "Storage/OQDataArchiver.h"

namespace oq {

bool OQDataArchiver::write(const Roots& roots, const std::filesystem::path& path) {
  return writeFileAtomically(path, KeyedArchiver::archivedDataWithRootObjects(roots));
}

}  // namespace oq
