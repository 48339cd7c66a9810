// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace oq {

/// Opens the address in the browser that the desktop's user has chosen. Returns at once; the browser is started on a
/// background thread, without a shell. Any thread. On failure only a warning is logged: if the address is neither http
/// nor https, or if no browser can be started.
void openInBrowser(const std::string& address);

}  // namespace oq
