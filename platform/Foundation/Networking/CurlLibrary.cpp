// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/CurlLibrary.h"

#include <atomic>
#include <mutex>

#include "Foundation/System/DynamicLibrary.h"

namespace oq {
namespace {

/// 7.87, the first version with CURLOPT_QUICK_EXIT. The options that restrict redirects to HTTPS need 7.85; an older
/// version would ignore them.
constexpr unsigned kFirstVersion = 0x075700;

bool findAll(void* library, CurlLibrary& functions) {
  return findFunction(library, "curl_easy_init", functions.easyInit) &&
         findFunction(library, "curl_easy_reset", functions.easyReset) &&
         findFunction(library, "curl_easy_cleanup", functions.easyCleanup) &&
         findFunction(library, "curl_easy_setopt", functions.easySetOption) &&
         findFunction(library, "curl_easy_getinfo", functions.easyGetInfo) &&
         findFunction(library, "curl_easy_strerror", functions.easyErrorText) &&
         findFunction(library, "curl_multi_init", functions.multiInit) &&
         findFunction(library, "curl_multi_setopt", functions.multiSetOption) &&
         findFunction(library, "curl_multi_add_handle", functions.multiAddHandle) &&
         findFunction(library, "curl_multi_remove_handle", functions.multiRemoveHandle) &&
         findFunction(library, "curl_multi_perform", functions.multiPerform) &&
         findFunction(library, "curl_multi_poll", functions.multiPoll) &&
         findFunction(library, "curl_multi_wakeup", functions.multiWakeUp) &&
         findFunction(library, "curl_multi_info_read", functions.multiReadInfo) &&
         findFunction(library, "curl_share_init", functions.shareInit) &&
         findFunction(library, "curl_share_setopt", functions.shareSetOption) &&
         findFunction(library, "curl_slist_append", functions.listAppend) &&
         findFunction(library, "curl_slist_free_all", functions.listFreeAll) &&
         findFunction(library, "curl_version_info", functions.versionInfo);
}

const CurlLibrary* load() {
  static CurlLibrary functions{};
  // This name belongs to the variant of libcurl with OpenSSL. The host may use the GnuTLS variant at the same time.
  void* library = openLibrary("libcurl.so.4");
  if (library) findFunction(library, "SSL_has_pending", functions.tlsHasPending);
  decltype(&curl_global_init) setUp = nullptr;
  const bool isUsable = library && findAll(library, functions) && findFunction(library, "curl_global_init", setUp) &&
                        functions.versionInfo(CURLVERSION_NOW)->version_num >= kFirstVersion &&
                        setUp(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return isUsable ? &functions : nullptr;
}

}  // namespace

const CurlLibrary* CurlLibrary::shared() {
  static std::atomic<const CurlLibrary*> loaded{nullptr};
  if (const CurlLibrary* functions = loaded.load(std::memory_order_acquire)) return functions;
  static auto* const mutex = new std::mutex;
  std::lock_guard lock(*mutex);
  if (!loaded) loaded = load();
  return loaded;
}

}  // namespace oq
