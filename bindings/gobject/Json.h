// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

namespace oq::gobject {

/// The dictionary as a JSON object, which the caller frees with g_free(). nullptr and an error if it contains something
/// that JSON cannot express.
char* jsonOf(GVariant* dictionary, GError** error);

}  // namespace oq::gobject
