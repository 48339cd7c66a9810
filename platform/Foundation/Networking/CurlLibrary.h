// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include <type_traits>

namespace oq {

/// The functions of libcurl, which is loaded at the first request. If OQSDK were linked with libcurl, loading libcurl
/// and its thirty dependencies would be about half of the start-up time that OQSDK costs, even in an application that
/// makes no request.
struct CurlLibrary {
  /// The first call loads the library, which takes milliseconds; the process must not exit meanwhile. nullptr if the
  /// library is missing or too old, or if memory or descriptors are short; the next call tries again. Thread-safe.
  static const CurlLibrary* shared();

  /// Sets an option; the value's type must match the option's. If memory is short, the error appears only when the
  /// transfer runs.
  template <CURLoption option, class Value>
  void set(CURL* handle, Value value) const {
    constexpr auto kind = option / 10000 * 10000;
    if constexpr (kind == CURLOPTTYPE_LONG) {
      static_assert(std::is_same_v<Value, long>);
    } else if constexpr (kind == CURLOPTTYPE_OFF_T) {
      static_assert(std::is_same_v<Value, curl_off_t>);
    } else {
      static_assert(std::is_pointer_v<Value> || std::is_null_pointer_v<Value>);
    }
    easySetOption(handle, option, value);
  }

  decltype(&curl_easy_init) easyInit;
  decltype(&curl_easy_reset) easyReset;
  decltype(&curl_easy_cleanup) easyCleanup;
  decltype(&curl_easy_setopt) easySetOption;
  decltype(&curl_easy_getinfo) easyGetInfo;
  decltype(&curl_easy_strerror) easyErrorText;
  decltype(&curl_multi_init) multiInit;
  decltype(&curl_multi_setopt) multiSetOption;
  decltype(&curl_multi_add_handle) multiAddHandle;
  decltype(&curl_multi_remove_handle) multiRemoveHandle;
  decltype(&curl_multi_perform) multiPerform;
  decltype(&curl_multi_poll) multiPoll;
  decltype(&curl_multi_wakeup) multiWakeUp;
  decltype(&curl_multi_info_read) multiReadInfo;
  decltype(&curl_share_init) shareInit;
  decltype(&curl_share_setopt) shareSetOption;
  decltype(&curl_slist_append) listAppend;
  decltype(&curl_slist_free_all) listFreeAll;
  decltype(&curl_version_info) versionInfo;
  /// SSL_has_pending of the OpenSSL that libcurl uses; nullptr when it uses another library.
  int (*tlsHasPending)(const void* ssl);
};

}  // namespace oq
