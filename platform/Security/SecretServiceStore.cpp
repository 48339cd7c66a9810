// SPDX-License-Identifier: Apache-2.0
#include "Security/SecretServiceStore.h"

#include <chrono>
#include <functional>

#include "Security/BoundedOperation.h"
#include "Security/SecretSession.h"

namespace oq {
namespace {

constexpr auto kServicePatience = std::chrono::seconds(2);
constexpr auto kCancellingPatience = std::chrono::milliseconds(500);

using ServiceItems = std::vector<SecretSession::Item>;
using Operation = std::function<OSStatus(const SecretSession&)>;

OSStatus converse(GCancellable* cancellable, const Operation& operation) {
  // Events for the proxies go to this context instead of the host's.
  std::unique_ptr<GMainContext, void (*)(GMainContext*)> context(g_main_context_new(), g_main_context_unref);
  g_main_context_push_thread_default(context.get());
  OSStatus status = errSecNotAvailable;
  try {
    if (auto session = SecretSession::open(cancellable)) status = operation(*session);
  } catch (const std::bad_alloc&) {
    status = errSecAllocate;
  }
  // Runs the clean-up that destroyed proxies have scheduled.
  while (g_main_context_iteration(context.get(), FALSE)) {
  }
  g_main_context_pop_thread_default(context.get());
  return status;
}

OSStatus run(Operation operation) {
  return runBounded(
      [operation = std::move(operation)](GCancellable* cancellable) { return converse(cancellable, operation); },
      kServicePatience, kCancellingPatience);
}

OSStatus applyChange(const SecretSession& session, const ServiceItems& items, const KeychainAttributes& query,
                     const KeychainChange& change) {
  std::vector<KeychainAttributes> after;
  bool found = false;
  for (const auto& item : items) {
    bool isSelected = matches(item.attributes, query);
    found = found || isSelected;
    after.push_back(isSelected ? changed(item.attributes, change.attributes) : item.attributes);
  }
  if (!found) return errSecItemNotFound;
  if (haveDuplicates(after)) return errSecDuplicateItem;
  OSStatus status = errSecSuccess;
  for (std::size_t i = 0; i < items.size() && status == errSecSuccess; ++i) {
    if (!matches(items[i].attributes, query)) continue;
    if (change.data) status = session.setData(items[i], *change.data);
    bool differs = after[i] != items[i].attributes;
    if (status == errSecSuccess && differs) status = session.setAttributes(items[i], after[i]);
  }
  return status;
}

}  // namespace

bool SecretServiceStore::isUsable() {
  return run([](const SecretSession&) { return errSecSuccess; }) == errSecSuccess;
}

OSStatus SecretServiceStore::copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) {
  auto copy = std::make_shared<KeychainItem>();
  OSStatus status = run([query, wantsData, copy](const SecretSession& session) {
    ServiceItems items;
    if (OSStatus failure = session.items(items); failure != errSecSuccess) return failure;
    for (const auto& item : items) {
      if (!matches(item.attributes, query)) continue;
      copy->attributes = item.attributes;
      return wantsData ? session.data(item, copy->data) : errSecSuccess;
    }
    return errSecItemNotFound;
  });
  if (status == errSecSuccess) found = std::move(*copy);
  return status;
}

OSStatus SecretServiceStore::add(const KeychainItem& item) {
  return run([item](const SecretSession& session) {
    ServiceItems items;
    if (OSStatus failure = session.items(items); failure != errSecSuccess) return failure;
    std::vector<KeychainAttributes> after{item.attributes};
    for (const auto& other : items) after.push_back(other.attributes);
    return haveDuplicates(after) ? errSecDuplicateItem : session.create(item);
  });
}

OSStatus SecretServiceStore::update(const KeychainAttributes& query, const KeychainChange& change) {
  return run([query, change](const SecretSession& session) {
    ServiceItems items;
    if (OSStatus failure = session.items(items); failure != errSecSuccess) return failure;
    return applyChange(session, items, query, change);
  });
}

OSStatus SecretServiceStore::remove(const KeychainAttributes& query) {
  return run([query](const SecretSession& session) {
    ServiceItems items;
    if (OSStatus failure = session.items(items); failure != errSecSuccess) return failure;
    OSStatus status = errSecItemNotFound;
    for (const auto& item : items) {
      if (!matches(item.attributes, query)) continue;
      status = session.remove(item);
      if (status != errSecSuccess) break;
    }
    return status;
  });
}

}  // namespace oq
