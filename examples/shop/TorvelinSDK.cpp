// SPDX-License-Identifier: Apache-2.0
#include "TorvelinSDK.h"

#include <chrono>
#include <iostream>

oq::Class* TorvelinSDK::staticClass() {
  static oq::Class* registered = oq::registerClass("TorvelinSDK", oq::Object::staticClass(),
                                                   {oq::method<&TorvelinSDK::_saveUploadInfo>(oq::saveUploadInfo)});
  return registered;
}

TorvelinSDK::TorvelinSDK(std::string appKey, std::string userId)
    : _appKey(std::move(appKey)), _userId(std::move(userId)) {}

void TorvelinSDK::track(const std::string& event, Properties properties) {
  using namespace std::chrono;
  oq::Dictionary context;
  for (const auto& [name, value] : properties) context[name] = value;
  auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch());
  oq::Value info = oq::Dictionary{{"xwho", _userId},
                                  {"appid", _appKey},
                                  {"xwhat", event},
                                  {"xwhen", now.count()},
                                  {"xcontext", std::move(context)}};
  oq::send(*this, oq::saveUploadInfo, info, event, oq::UploadHandler());
}

void TorvelinSDK::_saveUploadInfo(const oq::Value& info, const std::string& event, const oq::UploadHandler& handler) {
  std::cout << "event " << event << " " << info.at("xcontext").json() << std::endl;
  if (handler) handler();
}
