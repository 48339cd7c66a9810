// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Everything of the library that does not depend on the kind of host.
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
