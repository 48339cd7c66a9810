// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::c {

/// Frees the reporters that the program still has.
void forgetReporters();
/// Hides and frees the pages that the program still shows. Main thread only.
void hidePages();

}  // namespace oq::c
