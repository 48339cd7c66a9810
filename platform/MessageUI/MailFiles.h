// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <vector>

#include "MessageUI/MailMessage.h"

namespace oq {

/// Writes each attachment into a file and returns the paths. The files are in a new folder below "Mail" in the
/// application's data folder. They stay there, because mail programs read attachments long after the request; each call
/// removes folders that are older than one day. Invalid file names are changed, and duplicate names get a number.
/// Attachments that cannot be written are left out. Thread-safe.
std::vector<std::filesystem::path> writeMailFiles(const std::vector<MailAttachment>& attachments);

}  // namespace oq
