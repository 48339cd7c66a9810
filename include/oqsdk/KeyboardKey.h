// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// The keys that messages and pages handle. Back is Alt+Left on most keyboards.
enum class KeyboardKey { Tab, BackTab, Return, Escape, Back, Up, Down, PageUp, PageDown, Home, End };

}  // namespace oq
