#include "Foundation/CurlLibrary.h"

#include "Foundation/DynamicLibrary.h"

namespace oq {
namespace {

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
  // The one on OpenSSL. The host may use the one on GnuTLS beside it.
  void* library = openLibrary("libcurl.so.4");
  decltype(&curl_global_init) setUp = nullptr;
  const bool isUsable = library && findAll(library, functions) && findFunction(library, "curl_global_init", setUp) &&
                        setUp(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return isUsable ? &functions : nullptr;
}

}  // namespace

const CurlLibrary* CurlLibrary::shared() {
  static const CurlLibrary* functions = load();
  return functions;
}

}  // namespace oq
