// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace oq {

/// Opens the address in the browser that the desktop's user has chosen. Returns at once; the browser is started on a
/// background thread, without a shell. Any thread. Failure: an address that is neither http nor https, or a system
/// without a browser, only causes a warning.
void openInBrowser(const std::string& address);

}  // namespace oq
