// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <oqsdk/oqsdk.h>

#include <initializer_list>
#include <string>
#include <utility>

/// The shop's analytics. Every event becomes an upload dictionary and goes through saveUploadInfo, which "uploads" it
/// to the terminal. The class does not know about in-app messages; the library hooks saveUploadInfo.
class TorvelinSDK : public oq::Object {
  OQ_CLASS(TorvelinSDK)

 public:
  using Properties = std::initializer_list<std::pair<const char*, std::string>>;

  TorvelinSDK(std::string appKey, std::string userId);
  void track(const std::string& event, Properties properties);
  /// Sets the user of the following events.
  void setUserId(std::string userId) { _userId = std::move(userId); }

 private:
  void _saveUploadInfo(const oq::Value& info, const std::string& event, const oq::UploadHandler& handler);

  std::string _appKey;
  std::string _userId;
};
