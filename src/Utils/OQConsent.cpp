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
// Guarded by the mutex.
bool isConsentRequired = false;
std::optional<bool> lastConsent;  ///< the last decision that was found or made
/// What is known: twice the generation of the data folder, plus 1 if consent is missing. 0: nothing.
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
  // A host that is removed at the process's end takes its data folder away. Its user's decision still holds.
  if (const auto stored = storedConsent()) lastConsent = stored;
  const bool isMissing = !lastConsent.value_or(!isConsentRequired);
  knownConsent.store(knowledge(isMissing, generation), std::memory_order_release);
  return isMissing;
}

void storeConsent(bool isGiven) {
  std::lock_guard lock(consentMutex);
  const std::uint64_t generation = applicationDataGeneration();
  lastConsent = isGiven;
  // What others must not do any more ends before the file is written.
  if (!isGiven) knownConsent.store(knowledge(true, generation), std::memory_order_release);
  {
    const UnconditionalWrites writes;
    const auto file = preferencesDirectory() / "consent";
    if (!writeFileAtomically(file, dataFromString(isGiven ? kGiven : kWithdrawn))) {
      platformWarning(stringWithFormat("The user's consent could not be stored in %@.", file.string()));
    }
  }
  if (isGiven) knownConsent.store(knowledge(false, generation), std::memory_order_release);
}

/// Set when the library is loaded, so that no file is written before it is known whether consent is missing.
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

void OQConsent::give() {
  storeConsent(true);
}

void OQConsent::withdraw() {
  storeConsent(false);
}

bool OQConsent::isMissing() {
  const std::uint64_t state = knownConsent.load(std::memory_order_acquire);
  if (state / 2 == applicationDataGeneration()) return state % 2 != 0;
  return lookUpConsent();
}

}  // namespace oq
