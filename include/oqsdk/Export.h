// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Exports a symbol from the library, so that other programs can link to it. Symbols without this mark stay hidden.
#define OQSDK_EXPORT __attribute__((visibility("default")))
