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

/// Odds and ends that several parts share. No state; any thread.
class OQUtils {
 public:
  /// The operating system's version.
  static std::string getOSVersion();
  /// Identifies this installation; sent at login.
  static std::string getUUID();
  /// Keeps getUUID() in the keychain unless an identifier is there. May wait some seconds for the keychain.
  static void saveUUIDWithKeyChain();
  /// What is kept there: an empty dictionary when nothing is, null when it cannot be read. Waits likewise.
  static JSONValue getUUIDWithKeychain();

  /// "yyyy-MM-dd HH:mm:ss" in the device's time zone; nullopt for anything else.
  static std::optional<Date> dateFromString(const JSONValue& text);
  static std::string stringFromDate(Date date);
  /// 1 when the first is later, -1 when it is earlier, 0 when both fall into one second (not day, despite the
  /// name) or either is missing. Writes both to the platform's log, at every call.
  static int compareOneDay(std::optional<Date> oneDay, std::optional<Date> anotherDay);
  /// The same calendar day in the device's time zone; false when either is missing.
  static bool isSameDay(std::optional<Date> oneDay, std::optional<Date> anotherDay);

  /// Whether the point lies in the circle of the rectangle's width that touches its top and left edges, the
  /// boundary included. The height takes no part.
  static bool point(CGPoint point, CGRect inCircleRect);

  /// Has a mail program show a message with the files to the recipient; both lists go together. The composer is
  /// presented from the controller, and taken away again when it has finished. Nothing happens without a
  /// recipient, a controller on screen or a mail program. Any thread.
  static void sendEmailTo(const std::optional<std::string>& recipient, std::vector<Data> attachmentDatas,
                          std::vector<std::string> attachmentFileNames,
                          std::shared_ptr<UIViewController> fromController);
  /// Asks which of the other two environments to store; it counts from the next start on. Any thread.
  static void changeEnvironment();

  /// nullopt for nothing and for an empty text.
  static std::optional<std::string> base64Encode(const std::optional<std::string>& text);
  /// nullopt too for what is not base64 of UTF-8 text.
  static std::optional<std::string> base64Decode(const std::optional<std::string>& text);
};

}  // namespace oq
