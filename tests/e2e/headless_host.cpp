// SPDX-License-Identifier: Apache-2.0

// A host application without a display, controlled by lines on standard input. It uses only the public API.
//
//   record NAME KEY=VALUE ...   records an event with the analytics class
//   await LABEL                 runs until a view with this label is on the screen
//   await-no LABEL              runs until no view with this label is on the screen
//   tap LABEL                   taps the centre of that view
//   settle                      runs the main queue, and half a second of animation
//   background, foreground      hides and shows the window
// The response to each line is "ok" or "failed: REASON".
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "oqsdk/headless/HeadlessHost.h"
#include "oqsdk/oqsdk.h"

namespace {

class TorvelinSDK : public oq::Object {
  OQ_CLASS(TorvelinSDK)

 public:
  void record(const oq::Value& information, const std::string& event) {
    oq::send(*this, oq::saveUploadInfo, information, event, nullptr);
  }

 private:
  void _save(const oq::Value&, const std::string& event, const oq::UploadHandler&) {
    std::cout << "recorded " << event << std::endl;
  }
};

oq::Class* TorvelinSDK::staticClass() {
  static oq::Class* registered = oq::registerClass("TorvelinSDK", oq::Object::staticClass(),
                                                   {oq::method<&TorvelinSDK::_save>(oq::saveUploadInfo)});
  return registered;
}

class Driver {
 public:
  Driver(const oq::HeadlessHost::Options& options, std::string user) : _host(options), _user(std::move(user)) {}

  /// Executes a step. Returns an empty string, or the reason for its failure.
  std::string run(const std::string& line) {
    std::istringstream words(line);
    std::string step, argument;
    words >> step >> argument;
    if (step == "record") return record(argument, words);
    if (step == "await") return await(argument, true);
    if (step == "await-no") return await(argument, false);
    if (step == "tap") return tap(argument);
    if (step == "settle") return settle();
    if (step == "background" || step == "foreground") return _host.setActive(step == "foreground"), "";
    return "unknown step " + step;
  }

 private:
  std::string record(const std::string& event, std::istream& pairs) {
    oq::Dictionary context;
    for (std::string pair; pairs >> pair;) {
      auto cut = pair.find('=');
      context[pair.substr(0, cut)] = pair.substr(cut + 1);
    }
    _analytics.record(
        oq::Dictionary{{"xwho", _user}, {"appid", "e2e"}, {"xwhat", event}, {"xwhen", 1.0}, {"xcontext", context}},
        event);
    return "";
  }

  std::optional<oq::HeadlessHost::AccessibleElement> find(const std::string& label) {
    for (const auto& element : _host.accessibleElements()) {
      if (element.name == label) return element;
    }
    return std::nullopt;
  }

  std::string await(const std::string& label, bool present) {
    const bool met = _host.runUntil([&] { return find(label).has_value() == present; }, 20, true);
    settle();
    if (met && find(label).has_value() == present) return "";
    return label + (present ? " did not appear" : " did not disappear");
  }

  std::string tap(const std::string& label) {
    const auto view = find(label);
    if (!view) return label + " is not on screen";
    return _host.tap(view->x, view->y) ? "" : "the tap reached no view";
  }

  std::string settle() {
    _host.runMainQueue();
    _host.advance(0.5);
    return "";
  }

  oq::HeadlessHost _host;
  std::string _user;
  TorvelinSDK _analytics;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: headless_host DATA-DIR ENVIRONMENT APP-KEY USER\n";
    return 2;
  }
  oq::HeadlessHost::Options options;
  options.dataDirectory = argv[1];
  Driver driver(options, argv[4]);

  auto config = oq::TorvelinOqConfig::defaultConfig();
  config->setEnvType(std::stoul(argv[2]));
  config->setAppKey(argv[3]);
  oq::TorvelinOqManager::startWithConfig(config);

  for (std::string line; std::getline(std::cin, line);) {
    std::string failure = driver.run(line);
    std::cout << (failure.empty() ? "ok" : "failed: " + failure) << std::endl;
  }
}
