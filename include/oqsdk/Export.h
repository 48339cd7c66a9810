// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks what a host application may link against. Everything else stays hidden.
#define OQSDK_EXPORT __attribute__((visibility("default")))
