// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <vector>

#include "MessageUI/MailMessage.h"

namespace oq {

/// Writes each attachment into a file, in a new folder below "Mail" in the application's data folder, because mail
/// programs read attachments long after the request. Invalid file names are changed, duplicates get a number;
/// attachments that cannot be written are left out. Folders older than one day are removed. Thread-safe.
std::vector<std::filesystem::path> writeMailFiles(const std::vector<MailAttachment>& attachments);

}  // namespace oq
