// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "oqsdk/Runtime.h"
#include "oqsdk/Value.h"

namespace oq {

/// A function that the analytics library calls when an upload has ended. May be empty.
using UploadHandler = std::function<void()>;

/// The method of the class "TorvelinSDK" that every recorded event passes through. Its arguments are the upload
/// information, a dictionary with "xwho", "appid", "xwhat", "xwhen" and "xcontext"; the event's name; and the
/// completion handler. Once TorvelinOqManager is started, the library reads the dictionary after each call of the
/// method, on the caller's thread.
inline const Selector<void(const Value&, const std::string&, const UploadHandler&)> saveUploadInfo{
    "saveUploadInfo:event:handler:"};

}  // namespace oq
