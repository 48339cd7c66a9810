// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::c {

/// Removes the surfaces that the program still has. Main thread only.
void freeSurfaces();

}  // namespace oq::c
