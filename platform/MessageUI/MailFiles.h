#pragma once

#include <filesystem>
#include <vector>

#include "MessageUI/MailMessage.h"

namespace oq {

/// Writes each attachment into a file, in a new folder below "Mail" in the application's data folder: mail
/// programs read them long after they were asked to. Names that no file can have are changed, equal ones are
/// told apart; what cannot be written is left out. Folders of more than a day ago are removed. Any thread.
std::vector<std::filesystem::path> writeMailFiles(const std::vector<MailAttachment>& attachments);

}  // namespace oq
