// SPDX-License-Identifier: Apache-2.0

// A host application without a display, controlled by lines on standard input. It uses only the public API.
//
//   record NAME KEY=VALUE ...   records an event with the analytics class
//   await-colour RRGGBB         runs until the colour is on the screen
//   await-no-colour RRGGBB      runs until the colour is not on the screen
//   tap-colour RRGGBB           taps the centre of the area with this colour
//   settle                      runs the main queue, and half a second of animation
//   background, foreground      hides and shows the window
//   png FILE                    writes a screenshot
// The response to each line is "ok" or "failed: REASON".
#include <algorithm>
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

struct Spot {
  double x, y;
};

class Driver {
 public:
  Driver(const oq::HeadlessHost::Options& options, std::string user)
      : _size{options.width, options.height}, _host(options), _user(std::move(user)) {}

  /// Executes a step. Returns an empty string, or the reason for its failure.
  std::string run(const std::string& line) {
    std::istringstream words(line);
    std::string step, argument;
    words >> step >> argument;
    if (step == "record") return record(argument, words);
    if (step == "await-colour") return await(argument, true);
    if (step == "await-no-colour") return await(argument, false);
    if (step == "tap-colour") return tap(argument);
    if (step == "settle") return settle();
    if (step == "background" || step == "foreground") return _host.setActive(step == "foreground"), "";
    if (step == "png") return _host.writePng(argument) ? "" : "cannot write " + argument;
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

  /// The centre of the pixels with the colour.
  std::optional<Spot> find(const std::string& colour) {
    auto rgb = std::stoul(colour, nullptr, 16);
    oq::HeadlessHost::Pixel wanted{static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                                   static_cast<std::uint8_t>(rgb)};
    double left = _size.x, right = -1, top = _size.y, bottom = -1;
    for (double y = 2; y < _size.y; y += 4) {
      for (double x = 2; x < _size.x; x += 4) {
        if (_host.pixelAt(x, y) != wanted) continue;
        left = std::min(left, x), right = std::max(right, x), top = std::min(top, y), bottom = std::max(bottom, y);
      }
    }
    if (right < 0) return std::nullopt;
    return Spot{(left + right) / 2, (top + bottom) / 2};
  }

  std::string await(const std::string& colour, bool present) {
    bool met = _host.runUntil([&] { return find(colour).has_value() == present; }, 20, true);
    settle();
    return met && find(colour).has_value() == present
               ? ""
               : "colour " + colour + (present ? " did not appear" : " did not disappear");
  }

  std::string tap(const std::string& colour) {
    auto spot = find(colour);
    if (!spot) return "colour " + colour + " is not on screen";
    return _host.tap(spot->x, spot->y) ? "" : "the tap reached no view";
  }

  std::string settle() {
    _host.runMainQueue();
    _host.advance(0.5);
    return "";
  }

  Spot _size;
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
