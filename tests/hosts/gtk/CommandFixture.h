// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm.h>

#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "Engine/OQSDKManager.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"

/// Prints a line for the test script.
inline void say(const std::string& line) {
  std::cout << line << std::endl;
}

/// Takes the next word of a command.
inline std::string word(std::istream& in) {
  std::string next;
  in >> next;
  return next;
}

/// Takes the other words of a command.
inline std::string rest(std::istream& in) {
  std::string text;
  std::getline(in >> std::ws, text);
  return text;
}

/// A host with a window that executes commands from its standard input. A line is the name of a command and its
/// arguments. After each line it prints "did " and the line. Each fixture has the commands "resize WIDTH HEIGHT",
/// "jump ADDRESS", which opens a web page, and "quit".
class CommandFixture {
 public:
  using Commands = std::map<std::string, std::function<void(std::istream&)>>;

  virtual ~CommandFixture() = default;
  virtual void open() = 0;

 protected:
  void takeCommands(Commands commands) {
    _commands = std::move(commands);
    _commands["resize"] = [this](auto& in) { resize(in); };
    _commands["jump"] = [](auto& in) {
      oq::OQSDKManager::sharedManager().jumpToWebViewWithURLStr(oq::JSONValue(rest(in)));
    };
    _commands["quit"] = [](auto&) { Gio::Application::get_default()->quit(); };
  }

  /// A button that prints "NAME clicked".
  static Gtk::Button& makeButton(const std::string& name) {
    auto* button = Gtk::make_managed<Gtk::Button>(name);
    button->signal_clicked().connect([name] { say(name + " clicked"); });
    return *button;
  }

  /// Shows a message that prints "code CODE" for each of its reports.
  static std::shared_ptr<oq::OQPopWindow> popMessage(const oq::JSONDictionary& record) {
    auto data = std::make_shared<oq::OQWindowData>();
    data->setModelWithDic(record);
    auto message = oq::makeMainObject<oq::OQPopWindow>();
    message->popWithData(data, [](std::int64_t code, const auto&) { say("code " + std::to_string(code)); });
    return message;
  }

  Gtk::Window* _window = nullptr;

 private:
  friend int runFixture(const std::string&, std::unique_ptr<CommandFixture>);

  bool obey() {
    std::string line, word;
    if (!std::getline(std::cin, line)) return Gio::Application::get_default()->quit(), false;
    std::istringstream in(line);
    in >> word;
    if (auto command = _commands.find(word); command != _commands.end()) command->second(in);
    say("did " + line);
    return true;
  }

  void resize(std::istream& in) {
    int width = 0, height = 0;
    in >> width >> height;
    _window->set_default_size(width, height);
  }

  Commands _commands;
};

/// Runs the fixture until the application ends. Then destroys the fixture and prints "left".
inline int runFixture(const std::string& identifier, std::unique_ptr<CommandFixture> fixture) {
  auto application = Gtk::Application::create(identifier, Gio::Application::Flags::NON_UNIQUE);
  application->signal_activate().connect([&] {
    application->hold();
    fixture->open();
    Glib::signal_io().connect([&](Glib::IOCondition) { return fixture->obey(); }, 0,
                              Glib::IOCondition::IO_IN | Glib::IOCondition::IO_HUP);
  });
  application->run();
  fixture.reset();
  say("left");
  return 0;
}
