// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The library's identifier as a literal, so that labels built from it exist before main().
#define OQSDK_BUNDLE_IDENTIFIER "com.torvelin.oqsdk"
