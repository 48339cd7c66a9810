// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQConsent.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"

namespace oq {

namespace {

constexpr std::string_view kGiven = "given\n", kWithdrawn = "withdrawn\n";
constexpr std::size_t kLongestFile = 64;

std::mutex consentMutex;
// The next two variables are guarded by consentMutex.
bool isConsentRequired = false;
std::optional<bool> lastConsent;  ///< the last decision that was found or made
/// What isMissing() returns, and for which data folder this is known: twice applicationDataGeneration(), plus 1 if
/// consent is missing. 0 if nothing is known yet.
std::atomic<std::uint64_t> knownConsent{0};

std::uint64_t knowledge(bool isMissing, std::uint64_t generation) {
  return 2 * generation + (isMissing ? 1 : 0);
}

/// Whether consent was given according to the file; nullopt without a file. Unknown contents count as a withdrawal.
std::optional<bool> storedConsent() {
  const auto contents = contentsOfFile(applicationDataDirectory() / "Preferences" / "consent", kLongestFile);
  if (!contents) return std::nullopt;
  return stringFromData(*contents) == kGiven;
}

bool lookUpConsent() {
  std::lock_guard lock(consentMutex);
  const std::uint64_t generation = applicationDataGeneration();
  // When the host is removed at the end of the process, the default data folder is used again. It may have no file, but
  // the last decision of the user still holds.
  if (const auto stored = storedConsent()) lastConsent = stored;
  const bool isMissing = !lastConsent.value_or(!isConsentRequired);
  knownConsent.store(knowledge(isMissing, generation), std::memory_order_release);
  return isMissing;
}

/// Returns whether the decision was written to the file.
bool storeConsent(bool isGiven) {
  std::lock_guard lock(consentMutex);
  const std::uint64_t generation = applicationDataGeneration();
  lastConsent = isGiven;
  // For other threads a withdrawal takes effect before the file is written.
  if (!isGiven) knownConsent.store(knowledge(true, generation), std::memory_order_release);
  const UnconditionalWrites writes;
  const bool isWritten =
      writeFileAtomically(preferencesDirectory() / "consent", dataFromString(isGiven ? kGiven : kWithdrawn));
  if (isGiven) knownConsent.store(knowledge(false, generation), std::memory_order_release);
  return isWritten;
}

/// The permission to write files depends on consent from the moment when the library is loaded, so that no file is
/// written before it is known whether consent is missing.
[[maybe_unused]] const bool isPermissionSet = [] {
  setWritePermission([] { return !OQConsent::isMissing(); });
  return true;
}();

}  // namespace

void OQConsent::require(bool isRequired) {
  std::lock_guard lock(consentMutex);
  isConsentRequired = isRequired;
  lastConsent.reset();
  knownConsent.store(0, std::memory_order_release);
}

bool OQConsent::give() {
  const bool isStored = storeConsent(true);
  if (!isStored) platformWarning("The user's consent could not be stored. It holds in this run only.");
  return isStored;
}

bool OQConsent::withdraw() {
  const bool isStored = storeConsent(false);
  if (!isStored) platformWarning("The withdrawal of consent could not be stored. It holds in this run only.");
  return isStored;
}

bool OQConsent::isMissing() {
  const std::uint64_t state = knownConsent.load(std::memory_order_acquire);
  if (state / 2 == applicationDataGeneration()) return state % 2 != 0;
  return lookUpConsent();
}

}  // namespace oq
