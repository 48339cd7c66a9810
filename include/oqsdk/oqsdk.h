// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Includes all public headers that do not depend on the kind of host (GTK or headless).
#include "oqsdk/AnalyticsHook.h"
#include "oqsdk/Exception.h"
#include "oqsdk/Messages.h"
#include "oqsdk/OQDiagnosticsPanel.h"
#include "oqsdk/OQFloatingBall.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/OQSDKConstants.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/ShownPage.h"
#include "oqsdk/TorvelinOqConfig.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/TypeEncoding.h"
#include "oqsdk/Value.h"
