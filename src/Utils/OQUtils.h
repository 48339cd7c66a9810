// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

class UIViewController;

/// Shared helper functions. Stateless and thread-safe.
class OQUtils {
 public:
  static std::string getOSVersion();
  /// Identifies this installation; sent at login.
  static std::string getUUID();
  /// Stores getUUID() in the keychain unless an identifier is stored already. May block some seconds.
  static void saveUUIDWithKeyChain();
  /// The identifier in the keychain: an empty dictionary if there is none, null if it cannot be read. May block some
  /// seconds.
  static JSONValue getUUIDWithKeychain();

  /// Removes the identifier of this installation, also from the keychain; getUUID() then returns a new one. May block
  /// some seconds.
  static void forgetUUID();

  /// "yyyy-MM-dd HH:mm:ss" in the device's time zone; nullopt for anything else.
  static std::optional<Date> dateFromString(const JSONValue& text);
  static std::string stringFromDate(Date date);
  /// 1 if the first date is later, -1 if it is earlier, 0 if both are in the same second (not day, despite the name) or
  /// either is missing. Every call writes both to the platform's log.
  static int compareOneDay(std::optional<Date> oneDay, std::optional<Date> anotherDay);
  /// Whether both are on the same calendar day in the device's time zone; false if either is missing.
  static bool isSameDay(std::optional<Date> oneDay, std::optional<Date> anotherDay);

  /// Whether the point is inside or on the circle that touches the rectangle's top and left edges and has its width as
  /// diameter. The height is ignored.
  static bool point(CGPoint point, CGRect inCircleRect);

  /// Opens a message to the recipient in a mail program, with the files attached; the file name at an index belongs to
  /// the data at the same index. The composer is presented from the controller and dismissed when it has finished. Has
  /// no effect without a recipient, a controller on screen or a mail program. Thread-safe.
  static void sendEmailTo(const std::optional<std::string>& recipient, std::vector<Data> attachmentDatas,
                          std::vector<std::string> attachmentFileNames,
                          std::shared_ptr<UIViewController> fromController);
  /// Shows an alert in which the user can store one of the other two environments, and which asks the user to restart
  /// the application after that. Thread-safe.
  static void changeEnvironment();

  /// Returns nullopt for nullopt and for an empty string.
  static std::optional<std::string> base64Encode(const std::optional<std::string>& text);
  /// Also nullopt if the input is not base64 of valid UTF-8.
  static std::optional<std::string> base64Decode(const std::optional<std::string>& text);
};

/// The value, or "" if it is null.
inline JSONValue orEmptyString(const JSONValue& value) {
  return value.is_null() ? JSONValue("") : value;
}

}  // namespace oq
